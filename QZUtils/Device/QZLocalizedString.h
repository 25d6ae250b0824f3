// QZLocalizedString: a text in the user's language, or a text of the caller's.
#pragma once

#include <string>

#include "Platform/Export.h"
#include "Platform/Runtime/Text.h"

namespace qz {

/// What QZNSBundle::localizedStringForKey() gives; the default, empty for nil, only for a nil key, since
/// every other key has a text, if only its own. Safe from any thread.
[[nodiscard]] QZ_EXPORT std::string QZLocalizedString(Text key, Text defaultText);

}  // namespace qz
