// QZCanonicalDateFormatter: a day as a compact key, "20261123", that sorts by time.
//
//     QZCanonicalDateFormatter::shared()->stringFromDate(date);
//
// The day is that of the default time zone, so near midnight it depends on where the program runs. Safe from
// any thread as long as nobody changes its settings.
#pragma once

#include "Platform/Export.h"
#include "Platform/Text/NSDateFormatter.h"

namespace qz {

class QZ_EXPORT QZCanonicalDateFormatter : public NSDateFormatter {
    QZ_OBJECT(QZCanonicalDateFormatter, NSDateFormatter)
public:
    template <class Self = QZCanonicalDateFormatter>
    [[nodiscard]] static Ref<Self> init() {
        return make<Self>();
    }
    /// The one of the process.
    [[nodiscard]] static const Ref<QZCanonicalDateFormatter>& shared();

protected:
    QZCanonicalDateFormatter();
};

}  // namespace qz
