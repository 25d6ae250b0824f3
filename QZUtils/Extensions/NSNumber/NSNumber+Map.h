// NSNumber(Map): a number that is unwrapped as a string gives its text.
//
//     unwrapAs<NSString>(id(5))  // "5"
//
// Feeds write numbers where texts are expected; whoever unwraps a value as NSString gets the text either way,
// from unwrapAs(), unwrapAsBlock() and unwrapAsMap() alike. This holds when exactly NSString is asked for:
// for a superclass or any other class a number behaves like every object. It is the number's answer to the
// message "unwrapAs:", in force without including this header.
#pragma once

#include "Platform/Foundation/NSNumber.h"
#include "QZUtils/Extensions/NSObject/NSObject+Unwrap.h"
