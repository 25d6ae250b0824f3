// QZsqliteDb: a connection of a thin hand on SQLite 3, with texts for parameters and results.
//
//     const auto db = QZsqliteDb::initWithPath("/shelf/index.sqlite");
//     db->open();
//     const auto issues = db->query("SELECT title FROM issues WHERE year = ?", {"2026"});
//     while (issues && issues->step()) {
//         show(issues->row());
//     }
//
// Results are success flags and nil; SQLite's own words are not kept, but can be had from it by the handles.
// Statements hold their connection. Steps of all statements of a connection take turns, on its monitor
// (Platform/Runtime/Monitor.h); for everything else callers that share a connection between threads see to
// that themselves.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/Export.h"
#include "Platform/Runtime/Object.h"
#include "Platform/Runtime/Text.h"

namespace qz {

class QZsqliteStatement;

class QZ_EXPORT QZsqliteDb : public NSObject {
    QZ_OBJECT(QZsqliteDb, NSObject)
public:
    using Parameters = std::vector<std::string>;

    /// Opens nothing.
    template <class Self = QZsqliteDb>
    [[nodiscard]] static Ref<Self> initWithPath(Text path) {
        return make<Self>(path.toString());
    }

    [[nodiscard]] const std::optional<std::string>& path() const noexcept { return path_; }
    void setPath(Text path);
    /// SQLite's handle, a `sqlite3*`; null while closed.
    [[nodiscard]] void* sqlite() const noexcept { return sqlite_; }

    [[nodiscard]] bool isOpen() const noexcept { return sqlite_ != nullptr; }
    /// False for a nil path. The handle is stored even when SQLite reports an error, so that isOpen() may
    /// hold after a failure, and a second call replaces the handle without closing the first; callers rely on
    /// both.
    bool open();
    /// Forgets the handle, also where SQLite refuses to close it because statements are prepared.
    void close();

    /// Runs a text, which may hold several statements, and answers whether that went well.
    bool exec(std::string_view sql);
    /// Runs one statement up to its first row, and answers whether there is one. So a statement that changes
    /// data answers false, although it has; callers rely on it.
    bool exec(std::string_view sql, const Parameters& withParams);

    /// A statement that was not stepped yet; null when the connection is closed or the text cannot be
    /// prepared. Its parameters are not bound.
    [[nodiscard]] Ref<QZsqliteStatement> query(std::string_view sql);
    /// The same with its parameters bound; null, too, when there are too few.
    [[nodiscard]] Ref<QZsqliteStatement> query(std::string_view sql, const Parameters& withParams);

protected:
    explicit QZsqliteDb(std::optional<std::string> path) : path_(std::move(path)) {}
    void dealloc() override;

private:
    std::optional<std::string> path_;
    void* sqlite_ = nullptr;
};

}  // namespace qz
