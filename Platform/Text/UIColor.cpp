#include "Platform/Text/UIColor.h"

#include <cmath>

#include "Platform/Foundation/Format.h"
#include "Platform/Runtime/ClassBuilder.h"

namespace qz {

namespace {

double part(double value) {
    return value > 0 ? std::fmin(value, 1) : 0;
}

int byteOf(double value) {
    return static_cast<int>(std::lround(value * 255));
}

}  // namespace

QZ_DEFINE_CLASS(UIColor, cls) {
    cls.classMethod("colorWithRed:green:blue:alpha:",
                    [](Class&, double red, double green, double blue, double alpha) {
                        return colorWithRed(red, green, blue, alpha);
                    });
    cls.method("isEqual:", [](const UIColor& self, const id& other) {
        const auto color = other.as<UIColor>();
        return color && color->red() == self.red() && color->green() == self.green() &&
               color->blue() == self.blue() && color->alpha() == self.alpha();
    });
    // Colours that differ in less than a byte of a part hash alike.
    cls.method("hash", [](const UIColor& self) { return std::hash<std::string>()(self.hexString()); });
    cls.method("description", &UIColor::hexString);
}

UIColor::UIColor(double red, double green, double blue, double alpha)
    : red_(part(red)), green_(part(green)), blue_(part(blue)), alpha_(part(alpha)) {}

Ref<UIColor> UIColor::colorWithRed(double red, double green, double blue, double alpha) {
    return make<UIColor>(red, green, blue, alpha);
}

std::string UIColor::hexString() const {
    auto text = stringWithFormat("#%02x%02x%02x", byteOf(red_), byteOf(green_), byteOf(blue_));
    if (byteOf(alpha_) < 255) {
        text += stringWithFormat("%02x", byteOf(alpha_));
    }
    return text;
}

}  // namespace qz
