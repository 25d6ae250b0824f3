#include "Platform/Foundation/NSCoder.h"

#include "Platform/Runtime/ClassBuilder.h"
#include "Platform/Runtime/Raise.h"

namespace qz {

namespace {

[[noreturn]] void raiseWrongDirection(const NSCoder& coder, const char* direction) {
    raise(NSInvalidArgumentException, "a coder of class " + coder.isa().name() + " does not " + direction);
}

}  // namespace

QZ_DEFINE_CLASS(NSCoder, cls) {
    cls.method("encodeObject:forKey:", &NSCoder::encodeObjectForKey);
    cls.method("encodeBool:forKey:", &NSCoder::encodeBoolForKey);
    cls.method("encodeInt64:forKey:", &NSCoder::encodeInt64ForKey);
    cls.method("encodeDouble:forKey:", &NSCoder::encodeDoubleForKey);
    cls.method("containsValueForKey:", &NSCoder::containsValueForKey);
    cls.method("decodeObjectForKey:", &NSCoder::decodeObjectForKey);
    cls.method("decodeBoolForKey:", &NSCoder::decodeBoolForKey);
    cls.method("decodeInt64ForKey:", &NSCoder::decodeInt64ForKey);
    cls.method("decodeDoubleForKey:", &NSCoder::decodeDoubleForKey);
}

void NSCoder::encodeObjectForKey(const id& /*object*/, std::string_view /*key*/) {
    raiseWrongDirection(*this, "write");
}

void NSCoder::encodeBoolForKey(bool /*value*/, std::string_view /*key*/) {
    raiseWrongDirection(*this, "write");
}

void NSCoder::encodeInt64ForKey(std::int64_t /*value*/, std::string_view /*key*/) {
    raiseWrongDirection(*this, "write");
}

void NSCoder::encodeDoubleForKey(double /*value*/, std::string_view /*key*/) {
    raiseWrongDirection(*this, "write");
}

bool NSCoder::containsValueForKey(std::string_view /*key*/) const {
    raiseWrongDirection(*this, "read");
}

id NSCoder::decodeObjectForKey(std::string_view /*key*/) {
    raiseWrongDirection(*this, "read");
}

bool NSCoder::decodeBoolForKey(std::string_view /*key*/) {
    raiseWrongDirection(*this, "read");
}

std::int64_t NSCoder::decodeInt64ForKey(std::string_view /*key*/) {
    raiseWrongDirection(*this, "read");
}

double NSCoder::decodeDoubleForKey(std::string_view /*key*/) {
    raiseWrongDirection(*this, "read");
}

}  // namespace qz
