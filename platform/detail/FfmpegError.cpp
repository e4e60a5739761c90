#include "platform/detail/FfmpegError.h"

extern "C" {
#include <libavutil/error.h>
#include <libavutil/log.h>
}

#include <mutex>

namespace orvane::detail {

std::string ffmpegErrorText(int code) {
    char text[AV_ERROR_MAX_STRING_SIZE] = {};
    if (av_strerror(code, text, sizeof text) < 0)
        return "error " + std::to_string(code);
    return text;
}

void quietFfmpegLog() {
    static std::once_flag once;
    std::call_once(once, [] { av_log_set_level(AV_LOG_QUIET); });
}

} // namespace orvane::detail
