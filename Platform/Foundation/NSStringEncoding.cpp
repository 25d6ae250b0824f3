#include "Platform/Foundation/NSStringEncoding.h"

#include <unicode/ucnv.h>

#include <array>
#include <memory>

namespace qz {

namespace {

using Converter = std::unique_ptr<UConverter, decltype(&ucnv_close)>;

const char* nameOf(NSStringEncoding encoding) {
    switch (encoding) {
        case NSStringEncoding::ASCII:
            return "US-ASCII";
        case NSStringEncoding::UTF8:
            return "UTF-8";
        case NSStringEncoding::ISOLatin1:
            return "ISO-8859-1";
        case NSStringEncoding::ISOLatin2:
            return "ISO-8859-2";
        case NSStringEncoding::UTF16:
            return "UTF-16";
        case NSStringEncoding::WindowsCP1252:
            return "windows-1252";
        case NSStringEncoding::MacOSRoman:
            return "macintosh";
        case NSStringEncoding::UTF16BigEndian:
            return "UTF-16BE";
        case NSStringEncoding::UTF16LittleEndian:
            return "UTF-16LE";
    }
    return nullptr;
}

/// A converter that stops at what it cannot read, instead of replacing it.
Converter converter(const char* name) {
    auto status = U_ZERO_ERROR;
    Converter result(ucnv_open(name, &status), &ucnv_close);
    ucnv_setToUCallBack(result.get(), UCNV_TO_U_CALLBACK_STOP, nullptr, nullptr, nullptr, &status);
    ucnv_setFromUCallBack(result.get(), UCNV_FROM_U_CALLBACK_STOP, nullptr, nullptr, nullptr, &status);
    return U_SUCCESS(status) ? std::move(result) : Converter(nullptr, &ucnv_close);
}

}  // namespace

std::optional<std::string> stringWithDataEncoding(const NSData& data, NSStringEncoding encoding) {
    const auto* name = nameOf(encoding);
    if (!name) {
        return std::nullopt;
    }
    const auto from = converter(name);
    const auto to = converter("UTF-8");
    if (!from || !to) {
        return std::nullopt;
    }
    const auto bytes = data.text();
    const char* next = bytes.empty() ? "" : bytes.data();  // ICU takes no null
    const char* const last = next + bytes.size();
    std::string text;
    std::array<UChar, 1024> pivot{};
    auto* pivotStart = pivot.data();
    auto* pivotEnd = pivot.data();
    auto status = U_BUFFER_OVERFLOW_ERROR;
    for (bool isFirst = true; status == U_BUFFER_OVERFLOW_ERROR; isFirst = false) {
        std::array<char, 4096> piece;
        auto* end = piece.data();
        status = U_ZERO_ERROR;
        ucnv_convertEx(to.get(), from.get(), &end, piece.data() + piece.size(), &next, last, pivot.data(),
                       &pivotStart, &pivotEnd, pivot.data() + pivot.size(), static_cast<UBool>(isFirst), true,
                       &status);
        text.append(piece.data(), end);
    }
    return U_SUCCESS(status) ? std::optional(std::move(text)) : std::nullopt;
}

}  // namespace qz
