// How a thread waits in a queue for its turn, and how the queue gives it the turn. The thread sleeps on its
// item's `turn` word; who of both recycles the item is decided there.
#pragma once

#include <stop_token>

#include "Platform/Dispatch/internal/Item.h"

namespace qz::detail {

/// Waits for the turn of `item`. True when it was given: the item is the caller's again. False when stop was
/// requested first: the queue recycles the item when it comes to it.
[[nodiscard]] bool awaitTurn(Item& item, const std::stop_token* stop);

/// The queue's side: false when the waiter has given up, true when it cannot any more. Then giveTurn() is
/// due.
[[nodiscard]] bool chooseWaiter(Item& item) noexcept;

/// The waiter goes on; the item is no longer the queue's.
void giveTurn(Item& item) noexcept;

}  // namespace qz::detail
