#include "QZUtils/Device/QZLocalizedString.h"

#include "QZUtils/Device/QZNSBundle.h"

namespace qz {

std::string QZLocalizedString(Text key, Text defaultText) {
    return QZNSBundle::localizedStringForKey(key).value_or(std::string(defaultText.valueOr("")));
}

}  // namespace qz
