// Guarded and coalesced messages to any object.
//
//     tryToPerformSelector(delegate, "readerDidClose:"_sel, reader);   // if it cares
//     setNeedsPerformSelector(view, "redraw"_sel);                     // once, however often this is said
//
// An object that does not respond to a selector is left alone; who forwards messages answers for those that
// it forwards to. A null receiver does nothing. Delayed calls belong to the run loop of the calling thread,
// which must be running, and hold the receiver (DelayedPerforming.h).
#pragma once

#include "Platform/Export.h"
#include "Platform/Runtime/Id.h"
#include "Platform/Runtime/Selector.h"

namespace qz {

/// Sends the message without an argument, if the receiver responds to it. A method that takes one raises
/// NSInvalidArgumentException.
QZ_EXPORT void tryToPerformSelector(Receiver self, Selector selector);
/// The same with one argument, which a selector without a colon leaves out.
QZ_EXPORT void tryToPerformSelector(Receiver self, Selector selector, const id& withObject);

/// Sends the message, with nil where it takes an argument, 0.02 seconds from now, unless this is called again
/// before: then that long after the last call.
QZ_EXPORT void setNeedsPerformSelector(Receiver self, Selector selector);
/// The same with another delay, in seconds.
QZ_EXPORT void setNeedsPerformSelector(Receiver self, Selector selector, double afterDelay);

/// Cancels the delayed calls of a selector with an equal object (nil for the first form), or all of the
/// receiver's.
QZ_EXPORT void cancelDelayedPerformSelector(Receiver self, Selector selector);
QZ_EXPORT void cancelDelayedPerformSelector(Receiver self, Selector selector, const id& object);
QZ_EXPORT void cancelDelayedPerformSelectors(Receiver self);

}  // namespace qz
