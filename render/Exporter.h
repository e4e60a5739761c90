#pragma once
// The one road from a project to 16-bit disc audio: walks the audio blocks, reads each source in its
// converted form, applies fades, gain, envelope and crossfades in float, dithers once at the end and
// writes raw sectors. Stateless; runs synchronously on the caller's background thread, and calls
// `progress` and `emit` on that thread (writeImage hands dither, rounding and disk writes to two
// threads of its own, joined before it returns or throws). Memory stays bounded: a few chunks of 50
// frames at a time.
#include "engines/DitherType.h"
#include "model/CDProject.h"
#include "model/TrackPosition.h"
#include "platform/AudioBuffer.h"
#include "platform/UserCancelledError.h"

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <variant>
#include <vector>

namespace orvane {

enum class ExportErrorCode {
    openImageFailed = 1,  // "Failed to open output stream for IMAGE.DAT"
    noTracks = 2,         // "Project contains no tracks to export."
    writeFailed = 3,      // "Writing NAME failed: REASON"
    srcFailed = 4,        // "Sample rate conversion failed for track N “TITLE”: REASON"
    cdTextTooLong = 5,    // "LABEL is too long: N packs (maximum 252). ..."
    rangeNotOnBlocks = 6, // "Render range A–B does not fall on audio block boundaries."
    unsupportedRate = 7,  // "Unsupported output sample rate R Hz (must be a multiple of 75)."
};

// Thrown by every export operation; `message` is the user's text. A failed SRC render keeps its
// own text as `cause`.
struct ExportError {
    std::string domain = "Exporter";
    ExportErrorCode code = ExportErrorCode::writeFailed;
    std::string message;
    std::optional<std::string> cause;
};

// What the chunk loop hands its consumer.
struct RenderChunk {
    struct Silence {
        std::int64_t samples = 0; // stereo samples of digital zero
    };
    struct Audio {
        AudioBuffer buffer; // 2 channels at the target rate, frameLength set
        bool dither = true; // this chunk takes the master's dither
    };
    std::variant<Silence, Audio> value;
};

namespace Exporter {

inline constexpr std::int64_t bytesPerFrame = 2352;
inline constexpr std::int64_t maxChunkFrames = 50;
inline constexpr int imageSampleRate = 44100;

// Answer false to stop; the operation then throws UserCancelledError.
using FractionProgress = std::function<bool(double fraction)>;
using StatusProgress = std::function<bool(double fraction, const std::string& status)>;
using ByteProgress = std::function<bool(std::int64_t bytesDone)>;
// Takes each chunk; a throw ends the render.
using ChunkSink = std::function<void(RenderChunk& chunk)>;

// The chunk loop from fromLBA to toLBA (both on block boundaries) at targetRate (a multiple of 75).
void renderChunks(const CDProject& project, const std::vector<TrackPosition>& positions, std::int64_t fromLBA,
                  std::int64_t toLBA, int targetRate, const ChunkSink& emit);

// Whether writing an image also yields the MD5 of its bytes.
enum class ImageDigest { none, md5 };

// Renders the whole disc to one raw 16-bit little-endian stereo file at 44.1 kHz, exactly
// last endLBA x 2352 bytes long. The progress fraction counts bytes handed to the writer, which is at
// most a few chunks behind. Returns the file's lower-case hexadecimal MD5 with ImageDigest::md5, taken
// as the bytes go out, else an empty text. Throws ExportError or UserCancelledError; the file is
// then incomplete and the caller's to remove.
std::string writeImage(const CDProject& project, const std::vector<TrackPosition>& positions,
                       const std::filesystem::path& to, const FractionProgress& progress = {},
                       ImageDigest digest = ImageDigest::none);

// Fills the SRC cache ahead of a render and returns the share of the whole job it took (0 with
// nothing to do). Cancelling takes effect between tracks.
double prerenderSRC(const CDProject& project, std::int64_t totalImageFrames, int targetRate,
                    const StatusProgress& progress = {});

// The master dither type: absent or unknown text means TPDF.
DitherType masterDitherType(const CDProject& project);

// Dither state that runs on across chunks and tracks; one engine per channel.
class Quantizer final {
  public:
    Quantizer();
    ~Quantizer();
    Quantizer(const Quantizer&) = delete;
    Quantizer& operator=(const Quantizer&) = delete;
    // Appends the buffer's frameLength samples as interleaved 16-bit little-endian to `out`. The
    // engines are remade, with the fixed seeds, when the type or the channel count changes.
    void quantize(const AudioBuffer& buffer, DitherType dither, std::string& out);
    // The same for `frames` frames from `from`, written to `out`, which has room for them. A buffer
    // quantised in pieces, in order, gives the bytes of one call.
    void quantize(const AudioBuffer& buffer, std::size_t from, std::size_t frames, DitherType dither,
                  char* out);

  private:
    // Dithers and rounds `frames` samples from `from` into `bytes`.
    void quantizeStretch(const AudioBuffer& buffer, std::size_t from, std::size_t frames, char* bytes);

    struct Engines;
    std::unique_ptr<Engines> engines_;
};

// One float sample as a 16-bit value: clamped, times 32767, rounded half away from zero.
std::int16_t toInt16(double sample) noexcept;

// Lower-case hexadecimal MD5 of a file, read in 1 MiB blocks. Throws ExportError (writeFailed is not
// fitting; an unreadable file is reported with its reason) or UserCancelledError.
std::string md5Hex(const std::filesystem::path& of, const ByteProgress& progress = {});

} // namespace Exporter

} // namespace orvane
