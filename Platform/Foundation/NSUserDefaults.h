// NSUserDefaults: settings by key that outlive the process and that cooperating processes share.
//
//     const auto defaults = NSUserDefaults::initWithSuiteName("org.example.readers");
//     defaults->setObjectForKey(12, "fontSize");
//     const auto size = defaults->integerForKey("fontSize");
//
// A suite is a file of its name, XDG_CONFIG_HOME/QZUtils/Defaults/NAME.sqlite (~/.config unless set), which
// only the user may read. All objects of a suite in a process are one connection to it, closed with the last
// of them. A read sees what any process has written before; several operations become one step for everybody
// by performTransaction().
//
// Values are property lists (NSPropertyListSerialization.h) and are stored as such: what is read is a copy,
// and immutable.
//
// FAILURES. Of a file that is no database, or a place that cannot be written, reads answer nil (or what was
// registered), writes are dropped, and one line is logged for each kind of failure. The file is left as it
// is, and later operations try again.
//
// OBSERVING. A change that is made in this process is announced for its key by every object of the suite, so
// a key without dots can be observed (KeyValueObserving.h). Observers hear of a transaction's changes when it
// is over; the notice before a change, where one asked for it, comes at once.
//
// COST. A read takes a few microseconds, a write some tens. SQLite's journal is in WAL mode: a crash loses
// nothing, a power cut perhaps the last writes.
//
// Safe from any thread. A child that goes on after fork() without exec() cannot use the suites that its
// parent had open: reads answer nil and writes are dropped.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "Platform/Export.h"
#include "Platform/Foundation/NSData.h"
#include "Platform/Runtime/Id.h"
#include "Platform/Runtime/Object.h"
#include "Platform/Runtime/Text.h"

namespace qz {

class NSArray;
class NSDictionary;

namespace internal {
class DefaultsSuite;
}

class QZ_EXPORT NSUserDefaults : public NSObject {
    QZ_OBJECT(NSUserDefaults, NSObject)
public:
    /// Of the suite that has the program's name.
    [[nodiscard]] static Ref<NSUserDefaults> standardUserDefaults();
    /// Any name will do. Nil is the program's own suite.
    template <class Self = NSUserDefaults>
    [[nodiscard]] static Ref<Self> initWithSuiteName(Text name) {
        auto defaults = make<Self>(name);
        defaults->announceChanges();
        return defaults;
    }

    /// Nil when there is neither a stored nor a registered value.
    [[nodiscard]] id objectForKey(std::string_view key) const;
    /// Nil removes. Raises NSInvalidArgumentException for what is no property list.
    void setObjectForKey(const id& object, std::string_view forKey);
    void removeObjectForKey(std::string_view key);

    // Values of one kind; nil, 0 or false when there is none or it is of another kind.

    /// Numbers as their texts.
    [[nodiscard]] std::optional<std::string> stringForKey(std::string_view key) const;
    [[nodiscard]] Ref<NSArray> arrayForKey(std::string_view key) const;
    [[nodiscard]] Ref<NSDictionary> dictionaryForKey(std::string_view key) const;
    [[nodiscard]] std::optional<NSData> dataForKey(std::string_view key) const;
    /// Numbers other than 0, and texts like "YES", "true" and "1": behind blanks, a sign and zeros comes one
    /// of "Y", "y", "T", "t" and the digits.
    [[nodiscard]] bool boolForKey(std::string_view key) const;
    /// Truncated and saturated; of a text what number it begins with.
    [[nodiscard]] std::int64_t integerForKey(std::string_view key) const;
    [[nodiscard]] double doubleForKey(std::string_view key) const;

    /// Values of keys that have no stored one, for the suite in this process. They add to those that were
    /// registered before, and are not stored.
    void registerDefaults(const Ref<NSDictionary>& values);
    /// Everything: the registered values, and over them the stored ones.
    [[nodiscard]] Ref<NSDictionary> dictionaryRepresentation() const;

    /// Runs a block whose reads and writes in this suite, on this thread, are one step for all threads and
    /// processes: whoever writes meanwhile waits for its end, other threads of this process with their reads
    /// too. False, with nothing changed, when the suite cannot be written or others kept it for ten seconds;
    /// the block may not have run then. What the block throws takes its writes back and is thrown on. One
    /// inside another is a part of it. Do not wait in the block for another thread that uses the suite.
    bool performTransaction(const std::function<void()>& block);

protected:
    explicit NSUserDefaults(Text suiteName);

private:
    void announceChanges();

    const std::shared_ptr<internal::DefaultsSuite> suite_;
};

}  // namespace qz
