#include "Platform/Foundation/NSArray.h"
#include "QZUtils/Extensions/NSArray/NSArray+Extended.h"
#include "QZUtils/Storage/QZSharedPreferences.h"

namespace qz {

namespace {

constexpr std::string_view thumbnailURLsKey = "thumbSrvUrls";
constexpr std::string_view mediaURLsKey = "mediaURLs";
constexpr std::string_view imageURLsKey = "imagesUrl";

/// Two mirrors of the service that has the thumbnails of everything.
const Ref<NSArray>& defaultThumbnailURLs() {
    static const auto& urls = *new Ref<NSArray>(
        NSArray::arrayWithObjects({"https://thumbnails.example.org/", "https://thumbnails.example.net/"}));
    return urls;
}

}  // namespace

Ref<NSArray> QZSharedPreferences::thumbnailURLsForService(Text service) const {
    const auto urls = valueForKey(thumbnailURLsKey, service).as<NSArray>();
    return urls && urls->count() > 0 ? urls : defaultThumbnailURLs();
}

void QZSharedPreferences::setThumbnailURLs(const Ref<NSArray>& urls, Text forService) {
    setValue(urls, thumbnailURLsKey, forService);
}

std::string QZSharedPreferences::randomThumbnailURLForService(Text service) const {
    return unbox<std::string>(randomObject(thumbnailURLsForService(service))).value_or("");
}

Ref<NSArray> QZSharedPreferences::mediaURLsForService(Text service) const {
    return valueForKey(mediaURLsKey, service).as<NSArray>();
}

void QZSharedPreferences::setMediaURLs(const Ref<NSArray>& urls, Text forService) {
    setValue(urls, mediaURLsKey, forService);
}

Ref<NSArray> QZSharedPreferences::imageURLsForService(Text service) const {
    return valueForKey(imageURLsKey, service).as<NSArray>();
}

void QZSharedPreferences::setImageURLs(const Ref<NSArray>& urls, Text forService) {
    setValue(urls, imageURLsKey, forService);
}

}  // namespace qz
