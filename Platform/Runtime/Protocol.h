// Protocol: a named set of operations that a class may choose to have.
//
// A C++ protocol is a struct that names itself and says which of its operations a class T has:
//
//     struct QZDownloadDelegate {
//         QZ_PROTOCOL(QZDownloadDelegate)
//         template <class Target>
//         static constexpr void declare(Target& cls) {
//             using T = typename Target::Type;
//             if constexpr (requires { &T::onDownloadError; }) cls.method("onDownloadError:",
//             &T::onDownloadError);
//         }
//     };
//
// A class adopts it in its definition, `cls.adopts<QZDownloadDelegate>()`, which registers the operations
// that it has: it is a compile-time error if it has none. Overloaded, templated and private members are not
// found, so an operation has one name. A protocol without declare() is a mere mark.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "Platform/Export.h"

namespace qz {

class QZ_EXPORT Protocol {
public:
    explicit Protocol(std::string name) : name_(std::move(name)) {}
    Protocol(const Protocol&) = delete;
    Protocol& operator=(const Protocol&) = delete;

    [[nodiscard]] const std::string& name() const noexcept { return name_; }

    /// The protocol of that name, made when it is asked for the first time. One object a name in the process.
    [[nodiscard]] static Protocol& named(std::string_view name);

private:
    std::string name_;
};

/// The protocol of that name if any class or program has named it before; null otherwise.
[[nodiscard]] QZ_EXPORT Protocol* NSProtocolFromString(std::string_view name);
[[nodiscard]] inline const std::string& NSStringFromProtocol(const Protocol& protocol) {
    return protocol.name();
}

#define QZ_PROTOCOL(Name)                                               \
    [[nodiscard]] static ::qz::Protocol& protocol() {                   \
        static ::qz::Protocol& instance = ::qz::Protocol::named(#Name); \
        return instance;                                                \
    }

}  // namespace qz
