// The system's errors about files, as the errors that callers get.
#pragma once

#include <string_view>

#include "Platform/Foundation/NSError.h"

namespace qz::internal {

enum class FileOperation { Reading, Writing };

/// `number` is an errno.
[[nodiscard]] Ref<NSError> fileError(FileOperation operation, int number, std::string_view path);
/// Stores fileError() where `error` points to, if it does; false, for returning it.
bool failWithFileError(FileOperation operation, int number, std::string_view path, Ref<NSError>* error);

}  // namespace qz::internal
