#pragma once
// Why a CUE sheet could not be imported, each case with the text the user sees. Pure value;
// any thread.

#include <cstdint>
#include <string>
#include <variant>

namespace orvane {

struct CUEImportError {
    struct MissingIndex01 {
        std::int64_t trackNumber = 0;
        bool operator==(const MissingIndex01&) const = default;
    };
    struct MissingAudioFile {
        std::string name; // as the sheet has it
        bool operator==(const MissingAudioFile&) const = default;
    };
    struct UnsupportedImageFormat {
        std::string detail;
        bool operator==(const UnsupportedImageFormat&) const = default;
    };
    struct Unreadable {
        bool operator==(const Unreadable&) const = default;
    };
    struct NoTracks {
        bool operator==(const NoTracks&) const = default;
    };
    struct UnsupportedLayout {
        bool operator==(const UnsupportedLayout&) const = default;
    };
    // An audio file the sheet names exists but could not be opened or read; the audio layer's text.
    struct AudioFileFailure {
        std::string message;
        bool operator==(const AudioFileFailure&) const = default;
    };
    // A track file or the audio folder could not be written.
    struct CannotWrite {
        std::string name;
        std::string reason;
        bool operator==(const CannotWrite&) const = default;
    };
    // The user stopped the import; the command shows nothing for it.
    struct Cancelled {
        bool operator==(const Cancelled&) const = default;
    };

    std::variant<MissingIndex01, MissingAudioFile, UnsupportedImageFormat, Unreadable, NoTracks,
                 UnsupportedLayout, AudioFileFailure, CannotWrite, Cancelled>
        value;

    static CUEImportError missingIndex01(std::int64_t number) { return {MissingIndex01{number}}; }
    static CUEImportError missingAudioFile(std::string name) { return {MissingAudioFile{std::move(name)}}; }
    static CUEImportError unsupportedImageFormat(std::string detail) {
        return {UnsupportedImageFormat{std::move(detail)}};
    }
    static CUEImportError unreadable() { return {Unreadable{}}; }
    static CUEImportError noTracks() { return {NoTracks{}}; }
    static CUEImportError unsupportedLayout() { return {UnsupportedLayout{}}; }
    static CUEImportError audioFileFailure(std::string message) {
        return {AudioFileFailure{std::move(message)}};
    }
    static CUEImportError cannotWrite(std::string name, std::string reason) {
        return {CannotWrite{std::move(name), std::move(reason)}};
    }
    static CUEImportError cancelled() { return {Cancelled{}}; }

    bool isCancel() const { return std::holds_alternative<Cancelled>(value); }
    // "Track 3 has no INDEX 01.", "CUE sheet contains no audio tracks." ...
    std::string message() const;
    bool operator==(const CUEImportError&) const = default;
};

} // namespace orvane
