// Messages that are sent later, or on the main thread, to any object.
//
//     performSelectorAfterDelay(reader, "refresh"_sel, nullptr, 0.5);
//     cancelPreviousPerformRequests(reader);
//
// Delayed performs belong to the run loop of the thread that asks for them: they are sent there, and only
// that thread cancels them. Target and object are held strongly until the message was sent or cancelled, or
// until the thread ends. Selectors have one colon or none; without one the object is only what a cancellation
// goes by.
//
// A null receiver does nothing. A receiver that answers the selector neither itself nor by forwarding, and a
// selector with more colons, raise NSInvalidArgumentException at once.
#pragma once

#include <stop_token>

#include "Platform/Export.h"
#include "Platform/Runtime/Id.h"
#include "Platform/Runtime/Selector.h"

namespace qz {

/// Sends a message without an argument, or with one, now.
QZ_EXPORT void performSelector(Receiver self, Selector selector);
QZ_EXPORT void performSelector(Receiver self, Selector selector, const id& withObject);

/// Sends the message from the calling thread's run loop, not before `seconds` have passed and never inside
/// this call. Seconds that are negative or NaN count as 0, infinite ones never come.
QZ_EXPORT void performSelectorAfterDelay(Receiver self, Selector selector, const id& withObject,
                                         double seconds);

/// Cancels what the calling thread's run loop has yet to send to `target`: everything, or what was asked for
/// with this selector and an equal object; nil equals nil.
QZ_EXPORT void cancelPreviousPerformRequests(Receiver target);
QZ_EXPORT void cancelPreviousPerformRequests(Receiver target, Selector selector, const id& object);

/// Sends the message on the main thread: from the main run loop, or with `waitUntilDone` on the main thread
/// itself at once. Elsewhere `waitUntilDone` returns, or throws, when the method has; it waits for ever when
/// the main thread does not run its loop.
QZ_EXPORT void performSelectorOnMainThread(Receiver self, Selector selector, const id& withObject,
                                           bool waitUntilDone);
/// The waiting form, given up when stop is requested before the method was begun: false then.
[[nodiscard]] QZ_EXPORT bool performSelectorOnMainThreadUntil(const std::stop_token& stop, Receiver self,
                                                              Selector selector, const id& withObject);

namespace detail {
/// Raises NSInvalidArgumentException when a message with at most one object cannot be sent.
void requirePerformable(Receiver self, Selector selector);
}  // namespace detail

}  // namespace qz
