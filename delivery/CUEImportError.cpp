#include "delivery/CUEImportError.h"

namespace orvane {

namespace {

template <class... F> struct Overloaded : F... { using F::operator()...; };
template <class... F> Overloaded(F...) -> Overloaded<F...>;

} // namespace

std::string CUEImportError::message() const {
    return std::visit(
        Overloaded{
            [](const MissingIndex01& e) {
                return "Track " + std::to_string(e.trackNumber) + " has no INDEX 01.";
            },
            [](const MissingAudioFile& e) { return "Referenced audio file is missing: " + e.name; },
            [](const UnsupportedImageFormat& e) { return "Unsupported image format: " + e.detail; },
            [](const Unreadable&) { return std::string("CUE sheet could not be read as text."); },
            [](const NoTracks&) { return std::string("CUE sheet contains no audio tracks."); },
            [](const UnsupportedLayout&) {
                return std::string("Unsupported CUE layout (mixed multi-file image).");
            },
            [](const AudioFileFailure& e) { return e.message; },
            [](const CannotWrite& e) {
                return "Could not write \u201C" + e.name + "\u201D: " + e.reason + ".";
            },
            [](const Cancelled&) { return std::string("The import was cancelled."); },
        },
        value);
}

} // namespace orvane
