// Everything that the project library offers, with the libraries it stands on.
#pragma once

#include "qvfd/qvfd.h"
#include "qvgcp/qvgcp.h"
#include "qvmath/qvmath.h"
#include "qvprj/check/ProjectCheck.h"
#include "qvprj/check/Recovery.h"
#include "qvprj/flight/FlyProjectHelper.h"
#include "qvprj/project/PairReplacement.h"
#include "qvprj/project/PrjInfo.h"
#include "qvprj/project/QvProject.h"
#include "qvsql/qvsql.h"
