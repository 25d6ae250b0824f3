// A walk through what the library offers: objects and messages, observing, forwarding, subclassing one
// object, queues, synchronised collections, errors and log lines.
#include <QZUtils/QZUtils.h>

#include <iostream>

#include "Platform/Foundation/NSDictionary.h"
#include "Platform/Foundation/NSException.h"
#include "Platform/Foundation/NSString.h"
#include "Platform/Runtime/ClassBuilder.h"
#include "Platform/Runtime/KeyValueObserving.h"
#include "Platform/Runtime/Send.h"

using namespace qz;

namespace {

/// What listens to an issue: both operations are optional.
struct IssueDelegate {
    QZ_PROTOCOL(IssueDelegate)
    template <class Target>
    static constexpr void declare(Target& cls) {
        using T = typename Target::Type;
        if constexpr (requires { &T::issueDidOpen; }) {
            cls.method("issueDidOpen:", &T::issueDidOpen);
        }
        if constexpr (requires { &T::issueDidClose; }) {
            cls.method("issueDidClose:", &T::issueDidClose);
        }
    }
};

class Issue : public NSObject {
    QZ_OBJECT(Issue, NSObject)
public:
    [[nodiscard]] int pagesRead() const { return pagesRead_; }
    void setPagesRead(int pages) {
        changing(*this, "pagesRead", [&] { pagesRead_ = pages; });
    }
    [[nodiscard]] double fractionRead() const { return pagesRead_ / 48.0; }

protected:
    Issue() = default;

private:
    int pagesRead_ = 0;
};

class Shelf : public NSObject {
    QZ_OBJECT(Shelf, NSObject)
public:
    void issueDidOpen(const id& title) {
        std::cout << "  the shelf hears that " << descriptionOf(title) << " is open\n";
    }

protected:
    Shelf() = default;
};

class Statistics : public NSObject {
    QZ_OBJECT(Statistics, NSObject)
public:
    void issueDidOpen(const id& title) { std::cout << "  statistics count " << descriptionOf(title) << '\n'; }

protected:
    Statistics() = default;
};

QZ_DEFINE_CLASS(Issue, cls) {
    cls.property("pagesRead", &Issue::pagesRead, &Issue::setPagesRead);
    cls.property("fractionRead", &Issue::fractionRead);
    cls.dependsOn("fractionRead", {"pagesRead"});
    cls.method("description", [](const Issue&) { return std::string("Monday's issue"); });
}
QZ_DEFINE_CLASS(Shelf, cls) {
    cls.adopts<IssueDelegate>();
}
QZ_DEFINE_CLASS(Statistics, cls) {
    cls.adopts<IssueDelegate>();
}

void observing(const Ref<Issue>& issue) {
    std::cout << "Observing a computed property:\n";
    const auto observer =
        observeKeyPath(issue, "fractionRead", [](const id&, const Ref<NSDictionary>& change) {
            std::cout << "  " << descriptionOf(change->objectForKey("old")) << " -> "
                      << descriptionOf(change->objectForKey("new")) << '\n';
        });
    issue->setPagesRead(12);
    issue->setPagesRead(24);
}

void forwarding(const Ref<Issue>& issue) {
    std::cout << "One delegate that is many, one of which goes:\n";
    const auto shelf = make<Shelf>();
    auto statistics = make<Statistics>();
    const auto delegates = QZForwarder::initWithRecipients(shelf, statistics);
    send(delegates, "issueDidOpen:"_sel, id(issue));
    statistics.reset();
    send(delegates, "issueDidOpen:"_sel, id("Tuesday's issue"));
}

void subclassing(const Ref<Issue>& issue) {
    std::cout << "One object described differently from all others of its class:\n";
    overrideSelectorIpmlementationProvider(issue, "description"_sel, "Highlight",
                                           [](Selector, const Implementation& inherited) -> Implementation {
                                               return [inherited](Object& self) {
                                                   return "** " + inherited.call<std::string>(self) + " **";
                                               };
                                           });
    std::cout << "  " << issue->description() << "\n  " << make<Issue>()->description() << '\n';
}

void queuesAndCollections() {
    std::cout << "A map that any thread may use, with weakly held values:\n";
    using enum NSPointerFunctionsOptions;
    const auto registry = QZSynchronizedMapTable::initWithKeyOptions(CopyIn, WeakMemory, "registry");
    id download = "a download";
    (*registry)["/library/monday.zip"] = download;
    std::cout << "  " << registry->count() << " entry";
    download = nullptr;
    std::cout << ", and when the value is gone: " << registry->count() << '\n';

    auto queue = DispatchQueue::serial("layout");
    int pages = 0;
    for (int page = 0; page < 1000; ++page) {
        queue.async([&pages] { ++pages; });
    }
    std::cout << "  " << queue.sync([&] { return pages; }) << " blocks ran in their order\n";
}

void errors() {
    std::cout << "An error, an exception, and the log line that came with it:\n";
    std::cout << "  " << NSErrorClass::invalidParametersError()->description() << '\n' << std::flush;
    try {
        QZExceptionUtil::ThrowErrorWithName("PageMissing", "page 7 is missing", __FILE__, __LINE__, 7);
    } catch (const NSException& exception) {
        std::cout << "  " << exception.what() << ", code "
                  << descriptionOf(exception.userInfo()->objectForKey("code")) << '\n';
    }
}

}  // namespace

int main() {
    const auto issue = make<Issue>();
    observing(issue);
    forwarding(issue);
    subclassing(issue);
    queuesAndCollections();
    errors();
}
