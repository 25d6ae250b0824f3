#include "Platform/Runtime/Method.h"

#include <algorithm>
#include <deque>
#include <mutex>

#include "Platform/Runtime/Class.h"
#include "Platform/Runtime/Send.h"

namespace qz {

namespace internal {

MethodBody::~MethodBody() = default;

const TypeList* internTypes(std::initializer_list<const std::type_info*> types) {
    static auto& mutex = *new std::mutex;
    static auto& lists = *new std::deque<TypeList>;  // a few hundred in a large program, looked up once each
    const std::lock_guard lock(mutex);
    const auto same = [&](const TypeList& list) {
        return std::ranges::equal(list.types, types, [](const auto* a, const auto* b) { return *a == *b; });
    };
    const auto found = std::ranges::find_if(lists, same);
    return found != lists.end() ? &*found : &lists.emplace_back(TypeList{types});
}

Value callErased(const MethodBody& body, void* self, Selector selector, std::span<const Value> arguments) {
    if (body.arguments && body.argumentCount != arguments.size()) {
        raise(NSInvalidArgumentException, std::string(selector.name()) + " takes " +
                                              std::to_string(body.argumentCount) +
                                              " arguments and was sent " + std::to_string(arguments.size()));
    }
    return body.erased(body, self, selector, arguments);
}

void checkReceiver(const MethodBody& body, const Object& self) {
    if (body.forClasses || (body.receiverClass && !self.isa().isSubclassOf(body.receiverClass()))) {
        raise(NSInvalidArgumentException,
              "the implementation was made for receivers of " +
                  (body.forClasses ? std::string("the class side") : body.receiverClass().name()) +
                  ", not of " + self.isa().name());
    }
}

namespace {

/// Stands in for a missing method: hands the message to the receiver's forwarding.
struct ForwardingBody final : MethodBody {
    explicit ForwardingBody(Selector missing) : selector(missing) {
        erased = [](const MethodBody& body, void* self, Selector, std::span<const Value> values) {
            return forward(*static_cast<Object*>(self), static_cast<const ForwardingBody&>(body).selector,
                           values);
        };
    }
    Selector selector;
};

}  // namespace

}  // namespace internal

Implementation Implementation::forwarding(Selector selector) {
    return Implementation(std::make_shared<const internal::ForwardingBody>(selector));
}

Method::Method(Selector name, std::shared_ptr<const internal::MethodBody> implementation,
               std::string encoding)
    : selector(name),
      arguments(implementation->arguments),
      result(implementation->result),
      body(implementation.get()),
      typed(implementation->typed),
      discard(implementation->discard),
      owned(std::move(implementation)),
      typeEncoding(std::move(encoding)) {}

}  // namespace qz
