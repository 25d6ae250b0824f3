// The umbrella header: everything that the library offers. An application that uses one facility includes
// that facility's own header instead and compiles faster.
#pragma once

#include "QZUtils/Concurrency/QZSynchronizedCollection.h"
#include "QZUtils/Concurrency/QZSynchronizedMapTable.h"
#include "QZUtils/Concurrency/QZSynchronizedMutableArray.h"
#include "QZUtils/Concurrency/Synchronizer.h"
#include "QZUtils/Extensions/NSLocking/NSLocking+DoAction.h"
#include "QZUtils/Version.h"
