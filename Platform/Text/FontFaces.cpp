#include "Platform/Text/FontFaces.h"

#include <fontconfig/fontconfig.h>

#include <bit>
#include <mutex>
#include <optional>
#include <utility>

namespace qz {

namespace {

using Traits = UIFontDescriptorSymbolicTraits;

std::string folded(std::string_view name) {
    std::string lower(name);
    for (auto& character : lower) {
        if (character >= 'A' && character <= 'Z') {
            character = static_cast<char>(character - 'A' + 'a');
        }
    }
    return lower;
}

using Config = std::unique_ptr<FcConfig, decltype(&FcConfigDestroy)>;
using Pattern = std::unique_ptr<FcPattern, decltype(&FcPatternDestroy)>;
using ObjectSet = std::unique_ptr<FcObjectSet, decltype(&FcObjectSetDestroy)>;
using FontSet = std::unique_ptr<FcFontSet, decltype(&FcFontSetDestroy)>;

std::optional<std::string> textIn(const FcPattern* pattern, const char* object) {
    FcChar8* text = nullptr;
    return FcPatternGetString(pattern, object, 0, &text) == FcResultMatch
               ? std::optional<std::string>(reinterpret_cast<const char*>(text))
               : std::nullopt;
}

int numberIn(const FcPattern* pattern, const char* object) {
    int number = 0;
    return FcPatternGetInteger(pattern, object, 0, &number) == FcResultMatch ? number : 0;
}

Traits traitsOf(const FcPattern* pattern) {
    const auto when = [](bool present, Traits trait) { return present ? trait : Traits::None; };
    return when(numberIn(pattern, FC_SLANT) != FC_SLANT_ROMAN, Traits::Italic) |
           when(numberIn(pattern, FC_WEIGHT) >= FC_WEIGHT_DEMIBOLD, Traits::Bold) |
           when(numberIn(pattern, FC_SPACING) >= FC_DUAL, Traits::Monospace);
}

std::vector<FontFace> facesOf(FcConfig* config) {
    const Pattern all(FcPatternCreate(), &FcPatternDestroy);
    const ObjectSet objects(
        FcObjectSetBuild(FC_FAMILY, FC_POSTSCRIPT_NAME, FC_SLANT, FC_WEIGHT, FC_SPACING, nullptr),
        &FcObjectSetDestroy);
    const FontSet found(FcFontList(config, all.get(), objects.get()), &FcFontSetDestroy);
    std::vector<FontFace> faces;
    for (int i = 0; found && i < found->nfont; ++i) {
        const auto* pattern = found->fonts[i];
        if (auto family = textIn(pattern, FC_FAMILY)) {
            auto name = textIn(pattern, FC_POSTSCRIPT_NAME).value_or(*family);
            faces.push_back({std::move(name), *std::move(family), traitsOf(pattern)});
        }
    }
    return faces;
}

std::optional<std::string> defaultFamily(FcConfig* config) {
    const Pattern wanted(FcNameParse(reinterpret_cast<const FcChar8*>("sans-serif")), &FcPatternDestroy);
    FcConfigSubstitute(config, wanted.get(), FcMatchPattern);
    FcDefaultSubstitute(wanted.get());
    FcResult result = FcResultNoMatch;
    const Pattern found(FcFontMatch(config, wanted.get(), &result), &FcPatternDestroy);
    return found ? textIn(found.get(), FC_FAMILY) : std::nullopt;
}

/// With a configuration of its own, so that a host's use of fontconfig stays as it is.
std::shared_ptr<const FontFaces> facesOfSystem() {
    const Config config(FcInitLoadConfigAndFonts(), &FcConfigDestroy);
    if (!config) {
        return std::make_shared<FontFaces>(std::vector<FontFace>(), "sans-serif");
    }
    return std::make_shared<FontFaces>(facesOf(config.get()),
                                       defaultFamily(config.get()).value_or("sans-serif"));
}

struct Current {
    std::mutex mutex;
    std::shared_ptr<const FontFaces> faces;  // null until asked for
};
Current& shared() {
    static auto* const current = new Current;  // fonts may be made while the process exits
    return *current;
}

/// Where the monospaced faces of a family are: "X Mono", and "A Mono" for an X of the form "A Sans".
std::vector<std::string> monospacedFamilies(const std::string& family) {
    std::vector<std::string> families{family + " mono"};
    if (const auto blank = family.rfind(' '); blank != std::string::npos) {
        families.push_back(family.substr(0, blank) + " mono");
    }
    return families;
}

}  // namespace

FontFaces::FontFaces(std::vector<FontFace> faces, std::string systemFamily)
    : faces_(std::move(faces)), systemFamily_(std::move(systemFamily)) {
    for (std::size_t i = 0; i < faces_.size(); ++i) {
        byName_.emplace(folded(faces_[i].name), i);
        byFamily_[folded(faces_[i].family)].push_back(i);
    }
}

std::shared_ptr<const FontFaces> FontFaces::current() {
    auto& current = shared();
    const std::lock_guard lock(current.mutex);
    if (!current.faces) {
        current.faces = facesOfSystem();
    }
    return current.faces;
}

void FontFaces::setCurrent(std::shared_ptr<const FontFaces> faces) {
    auto& current = shared();
    const std::lock_guard lock(current.mutex);
    current.faces = std::move(faces);
}

const FontFace* FontFaces::faceNamed(std::string_view name) const {
    const auto key = folded(name);
    if (const auto found = byName_.find(key); found != byName_.end()) {
        return &faces_[found->second];
    }
    const FontFace* plainest = nullptr;
    if (const auto found = byFamily_.find(key); found != byFamily_.end()) {
        for (const auto index : found->second) {
            const auto numberOfTraits = [](const FontFace& face) {
                return std::popcount(static_cast<std::uint32_t>(face.traits));
            };
            if (!plainest || numberOfTraits(faces_[index]) < numberOfTraits(*plainest)) {
                plainest = &faces_[index];
            }
        }
    }
    return plainest;
}

const FontFace* FontFaces::faceOfFamily(std::string_view family, Traits traits) const {
    std::vector<std::string> families{folded(family)};
    if (hasTrait(traits, Traits::Monospace)) {
        for (auto& relative : monospacedFamilies(families.front())) {
            families.push_back(std::move(relative));
        }
    }
    for (const auto& candidate : families) {
        const auto found = byFamily_.find(candidate);
        if (found == byFamily_.end()) {
            continue;
        }
        for (const auto index : found->second) {
            if (faces_[index].traits == traits) {
                return &faces_[index];
            }
        }
    }
    return nullptr;
}

}  // namespace qz
