// A synchronous block on its way to the main thread, and its result or exception on the way back.
#pragma once

#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <stop_token>
#include <type_traits>
#include <utility>
#include <variant>

#include "Platform/Dispatch/internal/QueueCore.h"

namespace qz::detail {

template <class F>
class MainCall {
public:
    using Result = std::invoke_result_t<F&&>;

    explicit MainCall(std::remove_reference_t<F>& block) noexcept : block_(block) {}

    Result perform(QueueCore& main) {
        main.performOnMain(&work, this, nullptr);
        return take();
    }

    template <class ResultUntil>
    ResultUntil performUntil(QueueCore& main, const std::stop_token& stop) {
        if (!main.performOnMain(&work, this, &stop))
            return {};
        if constexpr (std::is_void_v<Result>)
            return take(), true;
        else
            return take();
    }

private:
    using Stored =
        std::conditional_t<std::is_void_v<Result>, std::monostate,
                           std::conditional_t<std::is_reference_v<Result>, std::add_pointer_t<Result>,
                                              std::remove_cv_t<Result>>>;

    static void work(void* context) {
        auto& call = *static_cast<MainCall*>(context);
        try {
            if constexpr (std::is_void_v<Result>) {
                std::invoke(std::forward<F>(call.block_));
            } else if constexpr (std::is_reference_v<Result>) {
                auto&& referred = std::invoke(std::forward<F>(call.block_));
                call.result_ = std::addressof(referred);
            } else {
                call.result_.emplace(std::invoke(std::forward<F>(call.block_)));
            }
        } catch (...) {
            call.failure_ = std::current_exception();
        }
    }

    Result take() {
        if (failure_)
            std::rethrow_exception(std::move(failure_));
        if constexpr (std::is_reference_v<Result>)
            return static_cast<Result>(**result_);
        else if constexpr (!std::is_void_v<Result>)
            return *std::move(result_);
    }

    std::remove_reference_t<F>& block_;
    std::optional<Stored> result_;
    std::exception_ptr failure_;
};

}  // namespace qz::detail
