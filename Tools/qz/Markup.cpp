// qz markup: texts with small tags as terminals, Pango and web views get them.
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cstdlib>
#include <iostream>
#include <nlohmann/json.hpp>

#include "Command.h"
#include "Platform/Foundation/NSURL.h"
#include "Platform/Text/UIFont.h"
#include "QZUtils/Extensions/NSAttributedString/NSAttributedString+Markup.h"
#include "QZUtils/Extensions/NSAttributedString/NSAttributedString+Rendering.h"

namespace qz::tool {

namespace {

using Traits = UIFontDescriptorSymbolicTraits;

struct MarkupOptions {
    std::string text;
    std::string form = "terminal";
    std::string color = "auto";
    bool isFlat = false;
};

/// A family that has every trait: what is bold does not depend on the fonts of the machine.
void useFacesOfTerminal() {
    std::vector<FontFace> faces;
    for (const auto& [name, family, fixed] :
         {std::tuple{"Sans", "Sans", Traits::None}, std::tuple{"Mono", "Sans Mono", Traits::Monospace}}) {
        const std::string prefix(name);
        faces.push_back({prefix, family, fixed});
        faces.push_back({prefix + "-Bold", family, fixed | Traits::Bold});
        faces.push_back({prefix + "-Italic", family, fixed | Traits::Italic});
        faces.push_back({prefix + "-BoldItalic", family, fixed | Traits::Bold | Traits::Italic});
    }
    FontFaces::setCurrent(std::make_shared<FontFaces>(std::move(faces), "Sans"));
}

nlohmann::json json(const Ref<NSAttributedString>& text) {
    auto runs = nlohmann::json::array();
    text->enumerateAttributesInRange({0, text->length()}, [&](const Ref<NSDictionary>& attributes,
                                                              NSRange range, bool&) {
        const auto font = attributes->objectForKey(NSFontAttributeName).as<UIFont>();
        const auto has = [&](Traits trait) {
            return font && hasTrait(font->fontDescriptor()->symbolicTraits(), trait);
        };
        const auto isSet = [&](std::string_view name) { return attributes->objectForKey(name) != nullptr; };
        nlohmann::json run{
            {"location", range.location},
            {"length", range.length},
            {"text", text->attributedSubstringFromRange(range)->string()},
            {"bold", has(Traits::Bold)},
            {"italic", has(Traits::Italic)},
            {"monospace", has(Traits::Monospace)},
            {"underline", isSet(NSUnderlineStyleAttributeName)},
            {"strikethrough", isSet(NSStrikethroughStyleAttributeName)},
        };
        for (const auto& [key, name] :
             {std::pair{"link", NSLinkAttributeName}, std::pair{"attachment", NSAttachmentAttributeName}}) {
            if (isSet(name)) {
                run[key] = descriptionOf(attributes->objectForKey(name));
            }
        }
        runs.push_back(std::move(run));
    });
    return {{"text", text->string()}, {"runs", std::move(runs)}};
}

/// NO_COLOR (https://no-color.org) counts when it is not empty.
bool isColored(const std::string& color) {
    const auto* noColor = std::getenv("NO_COLOR");
    return color == "always" || (color == "auto" && ::isatty(STDOUT_FILENO) == 1 && !(noColor && *noColor));
}

std::string shown(const Ref<NSAttributedString>& text, const MarkupOptions& options) {
    if (options.form == "json") {
        return json(text).dump(2, ' ', false, nlohmann::json::error_handler_t::replace);
    }
    if (options.form == "pango") {
        return pangoMarkup(text);
    }
    if (options.form == "html") {
        return HTMLString(text);
    }
    // Plain is what a terminal gets of a text without attributes: foreign escapes are no better in a pipe.
    return terminalString(
        isColored(options.color) ? text : NSAttributedString::initWithString(text->string(), nullptr));
}

void showMarkup(const MarkupOptions& options) {
    useFacesOfTerminal();
    const auto given = options.text == "-" ? std::string(contentOf("-").text()) : options.text;
    const auto text = NSAttributedStringClass::attributedStringWithCommonMarkupString(
        given, !options.isFlat,
        NSDictionary::dictionary({{NSFontAttributeName, UIFont::systemFontOfSize(12)}}));
    auto output = shown(text, options);
    output += output.ends_with('\n') ? "" : "\n";
    std::cout << output << std::flush;
}

}  // namespace

void addMarkup(CLI::App& program) {
    auto* command = program.add_subcommand("markup", "Show a text with tags: b, i, u, s, code, and links");
    const auto options = std::make_shared<MarkupOptions>();
    command->add_option("TEXT", options->text, "The text; - for standard input")->required();
    command->add_option("--to", options->form, "What to write: escapes for a terminal, or another form")
        ->check(CLI::IsMember({"terminal", "pango", "html", "json"}))
        ->capture_default_str();
    command->add_flag_callback(
        "--json", [options] { options->form = "json"; }, "The same as --to json");
    command->add_option("--color", options->color, "Whether a terminal's escapes are written")
        ->check(CLI::IsMember({"auto", "always", "never"}))
        ->capture_default_str();
    command->add_flag("--flat", options->isFlat, "Leave tags inside of tags alone");
    command->callback([options] { showMarkup(*options); });
}

}  // namespace qz::tool
