// The umbrella header: everything that the library offers. An application that uses one facility includes
// that facility's own header instead and compiles faster.
#pragma once

#include "QZUtils/Concurrency/QZSynchronizedCollection.h"
#include "QZUtils/Concurrency/QZSynchronizedMapTable.h"
#include "QZUtils/Concurrency/QZSynchronizedMutableArray.h"
#include "QZUtils/Concurrency/Synchronizer.h"
#include "QZUtils/Diagnostics/Log.h"
#include "QZUtils/Diagnostics/QZExceptionUtil.h"
#include "QZUtils/Extensions/NSError/NSError+Initialization.h"
#include "QZUtils/Extensions/NSError/NSError+InvalidParameter.h"
#include "QZUtils/Extensions/NSLocking/NSLocking+DoAction.h"
#include "QZUtils/Extensions/NSNumber/NSNumber+Map.h"
#include "QZUtils/Extensions/NSObject/NSObject+KVO.h"
#include "QZUtils/Extensions/NSObject/NSObject+QZDynamicSubclassing.h"
#include "QZUtils/Extensions/NSObject/NSObject+Unwrap.h"
#include "QZUtils/Forwarding/QZForwarder.h"
#include "QZUtils/Forwarding/QZWeakReference.h"
#include "QZUtils/Observation/Observable.h"
#include "QZUtils/Observation/QZKeyPathBlockObserver.h"
#include "QZUtils/Observation/WeakArray.h"
#include "QZUtils/Version.h"
