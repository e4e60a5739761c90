#pragma once
// The fixed colours dealt to a track's takes, in order, per track, wrapping after six. A take keeps
// the colour it was given for good. Pure functions; any thread.

#include "model/CDTrack.h"

#include <array>
#include <string>
#include <string_view>

namespace orvane {

inline constexpr std::array<std::string_view, 6> versionPalette{"#2DB6A3", "#D6BE3A", "#D9569E",
                                                                "#8FBF3F", "#A9744A", "#8A8FB0"};

namespace VersionPalette {

// The colour at the track's versionColorSeq (modulo the palette), advancing the counter by one.
std::string takeNextColor(CDTrack& track);

} // namespace VersionPalette

} // namespace orvane
