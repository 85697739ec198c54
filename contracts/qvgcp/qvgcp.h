// Everything that the ground-control library offers.
#pragma once

#include "qvgcp/GCPPrj.h"
