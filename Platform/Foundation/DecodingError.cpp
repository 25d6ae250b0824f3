#include "Platform/Foundation/DecodingError.h"

namespace qz {

DecodingError::DecodingError(Kind kind, std::string debugDescription)
    : kind_(kind), debugDescription_(std::move(debugDescription)) {}
// Here, so that its type is one and the same in all that catch it.
DecodingError::~DecodingError() = default;

}  // namespace qz
