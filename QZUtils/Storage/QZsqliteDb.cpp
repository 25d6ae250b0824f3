#include "QZUtils/Storage/QZsqliteDb.h"

#include <sqlite3.h>

#include "Platform/Foundation/internal/TextArrays.h"
#include "Platform/Runtime/ClassBuilder.h"
#include "QZUtils/Storage/QZsqliteStatement.h"

namespace qz {

QZ_DEFINE_CLASS(QZsqliteDb, cls) {
    using Self = QZsqliteDb;
    cls.property(
        "path", [](const Self& self) { return id(Text(self.path())); }, &Self::setPath);
    cls.method("isOpen", &Self::isOpen);
    cls.method("open", &Self::open);
    cls.method("close", &Self::close);
    cls.method("exec:", [](Self& self, std::string_view sql) { return self.exec(sql); });
    cls.method("exec:withParams:", [](Self& self, std::string_view sql, const Ref<NSArray>& params) {
        return params ? self.exec(sql, internal::textsOfArray(params)) : self.exec(sql);
    });
    cls.method("query:", [](Self& self, std::string_view sql) { return self.query(sql); });
    cls.method("query:withParams:", [](Self& self, std::string_view sql, const Ref<NSArray>& params) {
        return params ? self.query(sql, internal::textsOfArray(params)) : self.query(sql);
    });
}

void QZsqliteDb::dealloc() {
    close();
    Super::dealloc();
}

void QZsqliteDb::setPath(Text path) {
    path_ = path.toString();
}

bool QZsqliteDb::open() {
    if (!path_) {
        return false;
    }
    ::sqlite3* opened = nullptr;
    const int result = ::sqlite3_open(path_->c_str(), &opened);
    sqlite_ = opened;
    return result == SQLITE_OK;
}

void QZsqliteDb::close() {
    if (isOpen()) {
        ::sqlite3_close(static_cast<::sqlite3*>(sqlite_));
        sqlite_ = nullptr;
    }
}

bool QZsqliteDb::exec(std::string_view sql) {
    return isOpen() && ::sqlite3_exec(static_cast<::sqlite3*>(sqlite_), std::string(sql).c_str(), nullptr,
                                      nullptr, nullptr) == SQLITE_OK;
}

bool QZsqliteDb::exec(std::string_view sql, const Parameters& withParams) {
    const auto statement = query(sql, withParams);
    return statement && statement->step();
}

Ref<QZsqliteStatement> QZsqliteDb::query(std::string_view sql) {
    if (!isOpen()) {
        return nullptr;
    }
    auto statement = QZsqliteStatement::initWithDb(refTo(*this));
    return statement->prepare(sql) ? std::move(statement) : nullptr;
}

Ref<QZsqliteStatement> QZsqliteDb::query(std::string_view sql, const Parameters& withParams) {
    auto statement = query(sql);
    return statement && statement->bind(withParams) ? std::move(statement) : nullptr;
}

}  // namespace qz
