#include "Platform/Network/internal/LoadError.h"

#include <curl/curl.h>

#include <cerrno>

#include "Platform/Foundation/CocoaErrors.h"
#include "Platform/Foundation/NSDictionary.h"

namespace qz::internal {

Ref<NSError> loadError(NSURLErrorCode code, const std::string& description, const Ref<NSURL>& url,
                       const Ref<NSError>& underlying) {
    const auto info = NSMutableDictionary::dictionary({{NSLocalizedDescriptionKey, description}});
    if (url) {
        info->setObjectForKey(url->absoluteString(), NSURLErrorFailingURLStringErrorKey);
        info->setObjectForKey(url, NSURLErrorFailingURLErrorKey);
    }
    if (underlying) {
        info->setObjectForKey(underlying, NSUnderlyingErrorKey);
    }
    return NSError::errorWithDomain(std::string(NSURLErrorDomain), code, info);
}

Ref<NSError> errorWithResumeData(const Ref<NSError>& error, const id& resumeData) {
    if (!resumeData) {
        return error;
    }
    const auto info =
        error->userInfo() ? error->userInfo()->mutableCopy() : NSMutableDictionary::dictionary();
    info->setObjectForKey(resumeData, NSURLSessionDownloadTaskResumeData);
    return NSError::errorWithDomain(error->domain(), error->code(), info);
}

NSURLErrorCode codeOfCurlResult(int result, long systemError) {
    switch (result) {
        case CURLE_UNSUPPORTED_PROTOCOL:
            return NSURLErrorUnsupportedURL;
        case CURLE_URL_MALFORMAT:
            return NSURLErrorBadURL;
        case CURLE_COULDNT_RESOLVE_PROXY:
        case CURLE_COULDNT_RESOLVE_HOST:
            return NSURLErrorCannotFindHost;
        case CURLE_COULDNT_CONNECT:
            return systemError == ENETUNREACH || systemError == ENETDOWN ? NSURLErrorNotConnectedToInternet
                                                                         : NSURLErrorCannotConnectToHost;
        case CURLE_OPERATION_TIMEDOUT:
            return NSURLErrorTimedOut;
        case CURLE_TOO_MANY_REDIRECTS:
            return NSURLErrorHTTPTooManyRedirects;
        case CURLE_WEIRD_SERVER_REPLY:
        case CURLE_HTTP_RETURNED_ERROR:
        case CURLE_BAD_CONTENT_ENCODING:
            return NSURLErrorBadServerResponse;
        case CURLE_PARTIAL_FILE:
        case CURLE_GOT_NOTHING:
        case CURLE_SEND_ERROR:
        case CURLE_RECV_ERROR:
        case CURLE_HTTP2:
        case CURLE_HTTP2_STREAM:
            return NSURLErrorNetworkConnectionLost;
        case CURLE_PEER_FAILED_VERIFICATION:
            return NSURLErrorServerCertificateUntrusted;
        case CURLE_SSL_ISSUER_ERROR:
            return NSURLErrorServerCertificateHasUnknownRoot;
        case CURLE_SSL_CERTPROBLEM:
            return NSURLErrorClientCertificateRejected;
        case CURLE_SSL_CLIENTCERT:
            return NSURLErrorClientCertificateRequired;
        case CURLE_SSL_CONNECT_ERROR:
        case CURLE_SSL_ENGINE_NOTFOUND:
        case CURLE_SSL_ENGINE_SETFAILED:
        case CURLE_SSL_CIPHER:
        case CURLE_SSL_CACERT_BADFILE:
        case CURLE_SSL_CRL_BADFILE:
        case CURLE_SSL_INVALIDCERTSTATUS:
        case CURLE_SSL_PINNEDPUBKEYNOTMATCH:
        case CURLE_USE_SSL_FAILED:
            return NSURLErrorSecureConnectionFailed;
        case CURLE_FILE_COULDNT_READ_FILE:
            return NSURLErrorFileDoesNotExist;
        case CURLE_FILESIZE_EXCEEDED:
            return NSURLErrorDataLengthExceedsMaximum;
        default:
            return NSURLErrorUnknown;
    }
}

}  // namespace qz::internal
