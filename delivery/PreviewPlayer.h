#pragma once
// The preview's player page: fixed text of this system's own, with the manifest JSON and, for the
// self-contained page, the audio as a data URI spliced in. The page shows every text through the DOM's
// text properties, never as markup. Pure functions; any thread.
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace orvane::PreviewPlayer {

// Whether the page is the narrow, self-contained one for phones.
enum class Layout { regular, compact };

// The page around its two spliced values, so that a long data URI can be streamed between them.
struct Page {
    std::string beforeManifest; // up to and including "const MANIFEST = "
    std::string beforeAudio;    // ";" ... "const EMBEDDED_AUDIO = "
    std::string afterAudio;     // the rest of the script and the closing tags
};

// Where the clock's seven-segment font is read from; the page works without it.
std::filesystem::path defaultFontPath();

// The fixed pieces, with the font embedded as a Base64 @font-face rule when fontFile can be read.
Page page(Layout layout, const std::filesystem::path& fontFile = defaultFontPath());

// The whole page: manifestJSON (as PreviewManifests::json writes it) and the data URI in double
// quotes, or null without one.
std::string playerHTML(std::string_view manifestJSON, const std::optional<std::string>& audioDataURI,
                       Layout layout, const std::filesystem::path& fontFile = defaultFontPath());

} // namespace orvane::PreviewPlayer
