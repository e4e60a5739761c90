#pragma once
// Why a DDP fileset could not be imported, each case with the text the user sees. Pure value;
// any thread.

#include <string>
#include <variant>

namespace orvane {

struct DDPImportError {
    struct MissingFile {
        std::string name;
        bool operator==(const MissingFile&) const = default;
    };
    struct InvalidPQ {
        std::string reason;
        bool operator==(const InvalidPQ&) const = default;
    };
    struct NoTracks {
        bool operator==(const NoTracks&) const = default;
    };
    struct AudioTooShort {
        bool operator==(const AudioTooShort&) const = default;
    };
    // The user stopped the import; the command shows nothing for it.
    struct Cancelled {
        bool operator==(const Cancelled&) const = default;
    };
    // A WAV file or the audio folder could not be written.
    struct CannotWrite {
        std::string name;
        std::string reason;
        bool operator==(const CannotWrite&) const = default;
    };

    std::variant<MissingFile, InvalidPQ, NoTracks, AudioTooShort, Cancelled, CannotWrite> value;

    static DDPImportError missingFile(std::string name) { return {MissingFile{std::move(name)}}; }
    static DDPImportError invalidPQ(std::string reason) { return {InvalidPQ{std::move(reason)}}; }
    static DDPImportError noTracks() { return {NoTracks{}}; }
    static DDPImportError audioTooShort() { return {AudioTooShort{}}; }
    static DDPImportError cancelled() { return {Cancelled{}}; }
    static DDPImportError cannotWrite(std::string name, std::string reason) {
        return {CannotWrite{std::move(name), std::move(reason)}};
    }

    bool isCancel() const { return std::holds_alternative<Cancelled>(value); }
    // "DDP fileset is missing IMAGE.DAT.", "PQ descriptor is invalid: <reason>." ...
    std::string message() const;
    bool operator==(const DDPImportError&) const = default;
};

} // namespace orvane
