#pragma once
// The JSON coding of the project records, exactly as documents hold them: absent optionals are
// left out, every other field is always written, unknown keys are ignored, a missing required key
// or a value of the wrong type fails the whole document (an optional key holding null reads as
// absent). 32-bit floats are written in their shortest decimal form, so 0.1 stays 0.1. Any thread.

#include "model/CDProject.h"

#include <nlohmann/json_fwd.hpp>
#include <string>
#include <tl/expected.hpp>

namespace orvane {

struct DecodeError {
    std::string path;    // where in the document, e.g. "project.tracks[2].preGap"
    std::string message; // what is wrong, e.g. "missing required key \"totalFrames\""

    std::string description() const; // "project.tracks[2].preGap: missing required key ..."
};

namespace ProjectCoding {

nlohmann::json encode(const CDProject& project);
tl::expected<CDProject, DecodeError> decode(const nlohmann::json& json, const std::string& path = "project");

// One record alone, for the coders that embed them (recovery file, tests).
nlohmann::json encodeTrack(const CDTrack& track);
tl::expected<CDTrack, DecodeError> decodeTrack(const nlohmann::json& json, const std::string& path = "track");

} // namespace ProjectCoding

} // namespace orvane
