// Error constructors and raised exceptions, and the lines that they log.
#include <gmock/gmock.h>

#include <cstring>

#include "Platform/Foundation/NSDictionary.h"
#include "Platform/Foundation/NSException.h"
#include "Platform/Foundation/NSNumber.h"
#include "Platform/Runtime/Send.h"
#include "QZUtils/Diagnostics/QZExceptionUtil.h"
#include "QZUtils/Extensions/NSError/NSError+Initialization.h"
#include "QZUtils/Extensions/NSError/NSError+InvalidParameter.h"
#include "Siblings/QZLog.h"
#include "Tests/Diagnostics/Recorder.h"

namespace qz::test {

TEST(ErrorConstructors, ADescriptionIsTheOnlyInformation) {
    const auto described = NSErrorClass::errorWithDomain("Books", -7, "");
    EXPECT_EQ(described->domain(), "Books");
    EXPECT_EQ(described->code(), -7);
    ASSERT_TRUE(described->userInfo());  // an empty description is one
    EXPECT_EQ(id(described->userInfo()), id(NSDictionary::dictionary({{NSLocalizedDescriptionKey, ""}})));
    const auto bare = NSErrorClass::errorWithDomain("Books", 4, nullptr);
    EXPECT_EQ(bare->userInfo(), nullptr);
    EXPECT_FALSE(bare->localizedDescription().empty());
}

TEST(ErrorConstructors, InvalidParametersCarryTheSystemsText) {
    for (const auto& [error, text] :
         {std::pair(NSErrorClass::invalidParametersError(), std::string(std::strerror(22))),
          std::pair(NSErrorClass::invalidParametersErrorWithDescription("no urls"), std::string("no urls")),
          std::pair(NSErrorClass::invalidParametersErrorWithDescription(""), std::string())}) {
        EXPECT_EQ(error->domain(), "NSPOSIXErrorDomain");
        EXPECT_EQ(error->code(), 22);
        EXPECT_EQ(error->localizedDescription(), text);
        EXPECT_EQ(error->userInfo()->count(), 1U);
    }
}

TEST(ErrorConstructors, ARequiredParameterIsLogged) {
    Recorder recorder(QZLog::sharedLog()->ddSyncLog());
    NSErrorClass::logParameterRequiredErrorForMethod("downloadFile:fromUrls:"_sel, "urls");
    ASSERT_EQ(recorder.lines().size(), 1U);
    EXPECT_EQ(recorder.lines()[0].text, "`downloadFile:fromUrls:`: urls is required");
    EXPECT_EQ(recorder.lines()[0].flag, LogFlag::Error);
}

TEST(Exceptions, CarryCodeAndLineAndAreLoggedWhereTheyAreRaised) {
    Recorder recorder(QZLog::sharedLog()->ddSyncLog());
    struct Case {
        const char* name;  // null: the form without a name
        std::uint32_t line;
        std::int64_t code;
        std::int32_t keptLine;
        std::int32_t keptCode;
        const char* logged;
    };
    const Case cases[] = {
        {nullptr, 120, 7, 120, 7, ": broken"},
        {"Zip", 0, -1, 0, -1, "Zip: broken"},
        {"", 4294967295U, 2147483648LL, -1, INT32_MIN, ": broken"},
        {"Zip", 2147483647U, 0x1'0000'0005LL, INT32_MAX, 5, "Zip: broken"},
    };
    for (const auto& [name, line, code, keptLine, keptCode, logged] : cases) {
        try {
            if (name) {
                QZExceptionUtil::ThrowErrorWithName(name, "broken", "caller.cpp", line, code);
            }
            QZExceptionUtil::ThrowError("broken", "caller.cpp", line, code);
        } catch (const NSException& exception) {
            EXPECT_EQ(exception.name(), name ? name : "");
            EXPECT_EQ(exception.reason(), "broken");
            EXPECT_EQ(id(exception.userInfo()),
                      id(NSDictionary::dictionary({{"code", keptCode}, {"line", keptLine}})));
        }
        const auto last = recorder.lines().back();
        EXPECT_EQ(last.text, logged);
        EXPECT_EQ(last.flag, LogFlag::Error);
        EXPECT_EQ(last.tag, std::nullopt);
        EXPECT_THAT(last.file, testing::EndsWith("QZUtils/Diagnostics/QZExceptionUtil.cpp"));
        EXPECT_NE(last.line, line);
    }
    EXPECT_EQ(recorder.lines().size(), std::size(cases));
    EXPECT_THROW(send(QZExceptionUtil::cls(), "ThrowError:file:line:code:"_sel, "x", "caller.cpp", 1U, 2),
                 NSException);
}

}  // namespace qz::test
