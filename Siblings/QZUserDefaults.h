// QZUserDefaults: the settings of the program, as the sibling frameworks know them.
//
//     const auto identifier = QZUserDefaults::standardUserDefaults()->stringForKey("identifier");
//
// The same values as those of NSUserDefaults::standardUserDefaults(); everything else stands in
// NSUserDefaults.h.
#pragma once

#include "Platform/Export.h"
#include "Platform/Foundation/NSUserDefaults.h"

namespace qz {

class QZ_EXPORT QZUserDefaults : public NSUserDefaults {
    QZ_OBJECT(QZUserDefaults, NSUserDefaults)
public:
    /// The one object for general use. Also a class message.
    [[nodiscard]] static Ref<QZUserDefaults> standardUserDefaults();

protected:
    using NSUserDefaults::NSUserDefaults;
};

}  // namespace qz
