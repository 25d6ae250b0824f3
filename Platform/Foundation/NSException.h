// NSException: what is thrown for programming errors: misuse of containers, messages that nobody understands,
// and what QZExceptionUtil raises. Recoverable failures are NSError and are never thrown.
//
// Throw and catch it like any std::exception: `catch (const NSException& exception)`. Copies share their
// contents, and it travels in an `id`.
#pragma once

#include <exception>
#include <optional>
#include <string>

#include "Platform/Export.h"
#include "Platform/Runtime/Id.h"
#include "Platform/Runtime/Raise.h"

namespace qz {

class NSDictionary;

namespace internal {
class ExceptionStorage;
}

class QZ_EXPORT NSException : public std::exception {
public:
    /// The name may be empty, the user information null.
    NSException(std::string name, std::string reason, Ref<NSDictionary> userInfo = nullptr);

    [[nodiscard]] const std::string& name() const noexcept;
    [[nodiscard]] const std::string& reason() const noexcept;
    [[nodiscard]] const Ref<NSDictionary>& userInfo() const noexcept;
    /// "name: reason", or the reason alone when the name is empty.
    [[nodiscard]] const char* what() const noexcept override;

    /// The class of boxed exceptions.
    [[nodiscard]] static Class& cls();

private:
    friend struct Boxing<NSException>;
    explicit NSException(Ref<internal::ExceptionStorage> storage) noexcept : storage_(std::move(storage)) {}

    Ref<internal::ExceptionStorage> storage_;
};

template <>
struct QZ_EXPORT Boxing<NSException> {
    [[nodiscard]] static Ref<Object> box(const NSException& exception);
    [[nodiscard]] static std::optional<NSException> unbox(const Object& object);
};

}  // namespace qz
