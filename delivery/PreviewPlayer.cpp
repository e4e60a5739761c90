#include "delivery/PreviewPlayer.h"

#include "delivery/detail/Base64.h"
#include "delivery/detail/PlayerTemplate.h"
#include "platform/AtomicFile.h"

namespace orvane::PreviewPlayer {

namespace {

constexpr std::string_view kFontMark = "/*@FONT@*/";
constexpr std::string_view kBodyClassMark = "@BODYCLASS@";
constexpr std::string_view kManifestMark = "/*@MANIFEST@*/";
constexpr std::string_view kAudioMark = "/*@AUDIO@*/";

// The template between the end of one mark and the start of the next.
std::string_view between(std::string_view after, std::string_view before) {
    const std::string_view t = detail::playerTemplate;
    const std::size_t from = after.empty() ? 0 : t.find(after) + after.size();
    const std::size_t to = before.empty() ? t.size() : t.find(before);
    return t.substr(from, to - from);
}

} // namespace

std::filesystem::path defaultFontPath() {
    return "/usr/share/fonts/truetype/dseg/DSEG7Classic-Regular.ttf";
}

Page page(Layout layout, const std::filesystem::path& fontFile) {
    Page p;
    p.beforeManifest = between({}, kFontMark);
    // Without the font the clock falls back to a monospaced one; that is all.
    if (const auto font = AtomicFile::read(fontFile); font && !font->empty())
        p.beforeManifest += "@font-face{font-family:'DSEG7';src:url(data:font/ttf;base64," +
                            detail::base64(*font) + ") format('truetype');font-display:swap;}";
    p.beforeManifest += between(kFontMark, kBodyClassMark);
    if (layout == Layout::compact)
        p.beforeManifest += " class=\"compact\"";
    p.beforeManifest += between(kBodyClassMark, kManifestMark);
    p.beforeAudio = between(kManifestMark, kAudioMark);
    p.afterAudio = between(kAudioMark, {});
    return p;
}

std::string playerHTML(std::string_view manifestJSON, const std::optional<std::string>& audioDataURI,
                       Layout layout, const std::filesystem::path& fontFile) {
    const Page p = page(layout, fontFile);
    std::string html = p.beforeManifest;
    html += manifestJSON;
    html += p.beforeAudio;
    // A data URI holds only Base64 and its fixed prefix, so it needs no escaping inside the quotes.
    html += audioDataURI ? "\"" + *audioDataURI + "\"" : std::string("null");
    html += p.afterAudio;
    return html;
}

} // namespace orvane::PreviewPlayer
