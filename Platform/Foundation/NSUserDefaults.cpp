#include "Platform/Foundation/NSUserDefaults.h"

#include <charconv>
#include <limits>

#include "Platform/Foundation/NSArray.h"
#include "Platform/Foundation/NSDictionary.h"
#include "Platform/Foundation/NSError.h"
#include "Platform/Foundation/NSNumber.h"
#include "Platform/Foundation/NSPropertyListSerialization.h"
#include "Platform/Foundation/NSString.h"
#include "Platform/Foundation/internal/DefaultsSuite.h"
#include "Platform/Runtime/ClassBuilder.h"
#include "Platform/Runtime/Raise.h"

namespace qz {

QZ_DEFINE_CLASS(NSUserDefaults, cls) {
    using Self = NSUserDefaults;
    cls.classMethod("standardUserDefaults", [](Class&) { return standardUserDefaults(); });
    cls.method("objectForKey:", &Self::objectForKey);
    cls.method("setObject:forKey:", &Self::setObjectForKey);
    cls.method("valueForKey:", &Self::objectForKey);
    cls.method("setValue:forKey:", &Self::setObjectForKey);
    cls.method("removeObjectForKey:", &Self::removeObjectForKey);
    cls.method("stringForKey:",
               [](const Self& self, std::string_view key) { return id(Text(self.stringForKey(key))); });
    cls.method("arrayForKey:", &Self::arrayForKey);
    cls.method("dictionaryForKey:", &Self::dictionaryForKey);
    cls.method("dataForKey:", [](const Self& self, std::string_view key) {
        const auto data = self.dataForKey(key);
        return data ? id(*data) : id();
    });
    cls.method("boolForKey:", &Self::boolForKey);
    cls.method("integerForKey:", &Self::integerForKey);
    cls.method("doubleForKey:", &Self::doubleForKey);
    cls.method("registerDefaults:", &Self::registerDefaults);
    cls.method("dictionaryRepresentation", &Self::dictionaryRepresentation);
}

namespace {

/// The text without what may stand before a number.
std::string_view withoutLeadingSpace(std::string_view text) {
    const auto start = text.find_first_not_of(" \t\r\n");
    text.remove_prefix(start == std::string_view::npos ? text.size() : start);
    if (text.starts_with('+')) {
        text.remove_prefix(1);
    }
    return text;
}

/// The number that a text begins with, saturated; 0 when there is none.
template <class T>
T leadingNumber(std::string_view text) {
    text = withoutLeadingSpace(text);
    T number{};
    const auto result = std::from_chars(text.data(), text.data() + text.size(), number);
    if (result.ec != std::errc::result_out_of_range) {
        return number;
    }
    return text.starts_with('-') ? std::numeric_limits<T>::lowest() : std::numeric_limits<T>::max();
}

bool leadingTruth(std::string_view text) {
    text = withoutLeadingSpace(text);
    const auto first = text.find_first_not_of(text.starts_with('-') ? "-0" : "0");
    return first != std::string_view::npos &&
           std::string_view("YyTt123456789").find(text[first]) != std::string_view::npos;
}

}  // namespace

NSUserDefaults::NSUserDefaults(Text suiteName) : suite_(internal::DefaultsSuite::suiteNamed(suiteName)) {}

Ref<NSUserDefaults> NSUserDefaults::standardUserDefaults() {
    static const auto& defaults = *new Ref<NSUserDefaults>(initWithSuiteName(nullptr));
    return defaults;
}

void NSUserDefaults::announceChanges() {
    suite_->addAnnouncer(ref());
}

id NSUserDefaults::objectForKey(std::string_view key) const {
    return suite_->objectForKey(key);
}

void NSUserDefaults::setObjectForKey(const id& object, std::string_view forKey) {
    if (!object) {
        removeObjectForKey(forKey);
        return;
    }
    Ref<NSError> error;
    const auto value =
        NSPropertyListSerialization::dataWithPropertyList(object, NSPropertyListFormat::Binary, &error);
    if (!value) {
        raise(NSInvalidArgumentException, "the value for the default " + std::string(forKey) +
                                              " is no property list: " + error->localizedDescription());
    }
    suite_->setValueForKey(value, forKey);
}

void NSUserDefaults::removeObjectForKey(std::string_view key) {
    suite_->setValueForKey(std::nullopt, key);
}

std::optional<std::string> NSUserDefaults::stringForKey(std::string_view key) const {
    const auto value = objectForKey(key);
    if (const auto number = value.as<NSNumber>()) {
        return number->stringValue();
    }
    return unbox<std::string>(value);
}

Ref<NSArray> NSUserDefaults::arrayForKey(std::string_view key) const {
    return objectForKey(key).as<NSArray>();
}

Ref<NSDictionary> NSUserDefaults::dictionaryForKey(std::string_view key) const {
    return objectForKey(key).as<NSDictionary>();
}

std::optional<NSData> NSUserDefaults::dataForKey(std::string_view key) const {
    return unbox<NSData>(objectForKey(key));
}

bool NSUserDefaults::boolForKey(std::string_view key) const {
    const auto value = objectForKey(key);
    if (const auto text = value.as<NSString>()) {
        return leadingTruth(text->string());
    }
    return unbox<bool>(value).value_or(false);
}

std::int64_t NSUserDefaults::integerForKey(std::string_view key) const {
    const auto value = objectForKey(key);
    if (const auto text = value.as<NSString>()) {
        return leadingNumber<std::int64_t>(text->string());
    }
    const auto number = value.as<NSNumber>();
    return number ? number->longLongValue() : 0;
}

double NSUserDefaults::doubleForKey(std::string_view key) const {
    const auto value = objectForKey(key);
    if (const auto text = value.as<NSString>()) {
        return leadingNumber<double>(text->string());
    }
    const auto number = value.as<NSNumber>();
    return number ? number->doubleValue() : 0;
}

void NSUserDefaults::registerDefaults(const Ref<NSDictionary>& values) {
    if (values) {
        suite_->registerDefaults(*values);
    }
}

Ref<NSDictionary> NSUserDefaults::dictionaryRepresentation() const {
    return suite_->dictionaryRepresentation();
}

bool NSUserDefaults::performTransaction(const std::function<void()>& block) {
    return suite_->performTransaction(block);
}

}  // namespace qz
