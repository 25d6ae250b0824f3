// NSCoding: a class whose objects can be archived and come back.
//
//     class Book : public NSObject {
//         QZ_OBJECT(Book, NSObject)
//     public:
//         void encodeWithCoder(const Ref<NSCoder>& coder) { coder->encodeObjectForKey(title_, "title"); }
//         bool initWithCoder(const Ref<NSCoder>& coder) {
//             auto title = coder->decodeTextForKey("title");
//             title_ = title.value_or("");
//             return title.has_value();
//         }
//     protected:
//         Book() = default;
//         …
//     };
//     QZ_DEFINE_CLASS(Book, cls) { cls.adopts<NSCoding>(); }
//
// initWithCoder() fills an object that was just made by the parameterless constructor, which the class
// therefore has. It may meet objects that refer back to it, and objects that are not filled yet: keep them,
// look at them later. It answers false for content that makes no object; the whole archive is refused then.
// Content may come from anyone: check kinds and ranges.
//
// An archive can close a circle wherever one object refers to another. References are counted, so a class
// holds those that lead back (parents, owners, delegates) weakly, and checks others that could close a circle
// of strong ones.
#pragma once

#include <concepts>

#include "Platform/Foundation/NSCoder.h"
#include "Platform/Runtime/Protocol.h"

namespace qz {

struct NSCoding {
    QZ_PROTOCOL(NSCoding)

    template <class Target>
    static constexpr void declare(Target& cls) {
        using T = typename Target::Type;
        static_assert(
            requires(T & object, const Ref<NSCoder>& coder) {
                { object.encodeWithCoder(coder) } -> std::same_as<void>;
                { object.initWithCoder(coder) } -> std::same_as<bool>;
            },
            "a class that adopts NSCoding has void encodeWithCoder and bool initWithCoder");
        cls.method("encodeWithCoder:", &T::encodeWithCoder);
        cls.method("initWithCoder:", &T::initWithCoder);
    }
};

/// Marks a class that adopts NSCoding too and whose initWithCoder() trusts nothing: archives that require
/// secure coding hold objects of such classes alone.
struct NSSecureCoding {
    QZ_PROTOCOL(NSSecureCoding)
};

}  // namespace qz
