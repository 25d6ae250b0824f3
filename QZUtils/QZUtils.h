// The umbrella header: everything that the library offers. An application that uses one facility includes
// that facility's own header instead and compiles faster.
#pragma once

#include "QZUtils/Version.h"
