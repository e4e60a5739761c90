#pragma once
// FFmpeg's error numbers as text, for the file layer's messages. Any thread.

#include <string>

namespace orvane::detail {

// The library's description of an AVERROR code, e.g. "Invalid data found when processing input".
std::string ffmpegErrorText(int code);

// Silences the libraries' own console messages, once per process: their failures reach the user as
// AudioFileError texts instead.
void quietFfmpegLog();

} // namespace orvane::detail
