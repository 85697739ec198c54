// Everything that the geodesy library offers.
#pragma once

#include "qvmath/GeoPrj.h"
