// Everything that the foundation-data library offers.
#pragma once

#include "qvfd/BinaryData.h"
#include "qvfd/BlobFile.h"
#include "qvfd/ByteStream.h"
#include "qvfd/CameraInfo.h"
#include "qvfd/CoordinateCatalog.h"
#include "qvfd/CoordinateInfo.h"
#include "qvfd/ImageInfo.h"
#include "qvfd/PathHelper.h"
#include "qvfd/Text.h"
#include "qvfd/Track.h"
