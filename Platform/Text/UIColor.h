// UIColor: a colour of sRGB with its opacity, each part from 0 to 1.
//
//     const auto red = UIColor::colorWithRed(1, 0, 0, 1);
//
// Immutable; may be used from several threads at once.
#pragma once

#include <string>

#include "Platform/Export.h"
#include "Platform/Runtime/Id.h"

namespace qz {

class QZ_EXPORT UIColor : public NSObject {
    QZ_OBJECT(UIColor, NSObject)
public:
    /// Parts beyond 0 and 1 become these; what is no number becomes 0.
    [[nodiscard]] static Ref<UIColor> colorWithRed(double red, double green, double blue, double alpha);

    [[nodiscard]] double red() const noexcept { return red_; }
    [[nodiscard]] double green() const noexcept { return green_; }
    [[nodiscard]] double blue() const noexcept { return blue_; }
    [[nodiscard]] double alpha() const noexcept { return alpha_; }

    /// "#rrggbb" as style sheets have it, with the opacity behind ("#rrggbbaa") unless it is 1.
    [[nodiscard]] std::string hexString() const;

protected:
    UIColor(double red, double green, double blue, double alpha);

private:
    const double red_;
    const double green_;
    const double blue_;
    const double alpha_;
};

using NSColor = UIColor;

}  // namespace qz
