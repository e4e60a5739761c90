#pragma once
// The one error type of the audio file layer (reader, writer, converter). Every operation that can fail
// returns it as a value; callers decide whether to go silent, skip, or throw it on.

#include <string>

namespace orvane {

enum class AudioFileErrorCode {
    openFailed,        // missing, unreadable, or not an audio file the layer decodes
    unsupportedFormat, // container, sample format or extension the layer cannot write
    readFailed,        // the decoder stopped with an error (a short read at the end is no error)
    seekFailed,        // a position the file cannot be moved to
    writeFailed,       // the encoder or the disk refused the samples, or closing failed
    formatMismatch,    // a buffer whose channel count does not match the file or converter
    conversionFailed,  // the sample-rate converter reported an error
};

struct AudioFileError {
    std::string domain = "AudioFile";
    AudioFileErrorCode code = AudioFileErrorCode::openFailed;
    std::string message; // the user's text, naming the file where there is one

    bool operator==(const AudioFileError&) const = default;
};

} // namespace orvane
