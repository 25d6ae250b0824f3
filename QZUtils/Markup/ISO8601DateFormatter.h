// ISO8601DateFormatter: the one form "2026-11-23T08:15:00.000Z", in GMT.
//
//     ISO8601DateFormatter::shared()->stringFromDate(date);
//
// For services that write exactly this; QZDateFormatter::dateFromISO8601FormattedString() reads others too.
// Safe from any thread as long as nobody changes its settings.
#pragma once

#include "Platform/Export.h"
#include "Platform/Text/NSDateFormatter.h"

namespace qz {

class QZ_EXPORT ISO8601DateFormatter : public NSDateFormatter {
    QZ_OBJECT(ISO8601DateFormatter, NSDateFormatter)
public:
    template <class Self = ISO8601DateFormatter>
    [[nodiscard]] static Ref<Self> init() {
        return make<Self>();
    }
    /// The one of the process.
    [[nodiscard]] static const Ref<ISO8601DateFormatter>& shared();

protected:
    ISO8601DateFormatter();
};

}  // namespace qz
