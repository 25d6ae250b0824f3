// The errors of URL loading: codes of NSURLErrorDomain and the entries of their user information.
#pragma once

#include <cstdint>
#include <string_view>

namespace qz {

inline constexpr std::string_view NSURLErrorDomain = "NSURLErrorDomain";

enum class NSURLErrorCode : std::int64_t {
    Unknown = -1,
    Cancelled = -999,
    BadURL = -1000,
    TimedOut = -1001,
    UnsupportedURL = -1002,
    CannotFindHost = -1003,
    CannotConnectToHost = -1004,
    NetworkConnectionLost = -1005,
    DNSLookupFailed = -1006,
    HTTPTooManyRedirects = -1007,
    ResourceUnavailable = -1008,
    NotConnectedToInternet = -1009,
    RedirectToNonExistentLocation = -1010,
    BadServerResponse = -1011,
    UserCancelledAuthentication = -1012,
    UserAuthenticationRequired = -1013,
    ZeroByteResource = -1014,
    CannotDecodeRawData = -1015,
    CannotDecodeContentData = -1016,
    CannotParseResponse = -1017,
    FileDoesNotExist = -1100,
    FileIsDirectory = -1101,
    NoPermissionsToReadFile = -1102,
    DataLengthExceedsMaximum = -1103,
    SecureConnectionFailed = -1200,
    ServerCertificateHasBadDate = -1201,
    ServerCertificateUntrusted = -1202,
    ServerCertificateHasUnknownRoot = -1203,
    ServerCertificateNotYetValid = -1204,
    ClientCertificateRejected = -1205,
    ClientCertificateRequired = -1206,
    CannotCreateFile = -3000,
    CannotOpenFile = -3001,
    CannotCloseFile = -3002,
    CannotWriteToFile = -3003,
    CannotRemoveFile = -3004,
    CannotMoveFile = -3005,
};

/// The URL that could not be loaded, as a text and as an NSURL.
inline constexpr std::string_view NSURLErrorFailingURLStringErrorKey = "NSErrorFailingURLStringKey";
inline constexpr std::string_view NSURLErrorFailingURLErrorKey = "NSErrorFailingURLKey";
/// The record (NSData) that a failed download task can be continued from.
inline constexpr std::string_view NSURLSessionDownloadTaskResumeData = "NSURLSessionDownloadTaskResumeData";

}  // namespace qz
