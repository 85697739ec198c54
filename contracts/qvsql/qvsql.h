// Everything that the database library offers.
#pragma once

#include "qvsql/Database.h"
#include "qvsql/SideFiles.h"
