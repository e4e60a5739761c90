#include "cli/CommandVoice.h"

#include "delivery/PreviewExporter.h"
#include "platform/UserCancelledError.h"
#include "render/Exporter.h"

#include <exception>

namespace orvane::cli {

int CommandVoice::usage(const std::string& problem) const {
    std::fprintf(stderr, "%.*s: %s\n%.*s", static_cast<int>(name.size()), name.data(), problem.c_str(),
                 static_cast<int>(help.size()), help.data());
    return 2;
}

int CommandVoice::fail(const std::string& text) const {
    std::fprintf(stderr, "%.*s: %s\n", static_cast<int>(name.size()), name.data(), text.c_str());
    return 1;
}

int runDeliveryJob(const CommandVoice& voice, std::FILE* progressTo, std::string_view afterInterrupt,
                   const std::function<int(ProgressPrinter&)>& job) {
    const InterruptScope catchInterrupt;
    ProgressPrinter printer(progressTo);
    // The bar's line ends before anything else is printed, whichever way the job ends.
    try {
        const int status = job(printer);
        printer.finish();
        return status;
    } catch (const UserCancelledError&) {
        printer.finish();
        if (afterInterrupt.empty())
            std::fprintf(stderr, "%.*s: interrupted\n", static_cast<int>(voice.name.size()),
                         voice.name.data());
        else
            std::fprintf(stderr, "%.*s: interrupted; %.*s\n", static_cast<int>(voice.name.size()),
                         voice.name.data(), static_cast<int>(afterInterrupt.size()), afterInterrupt.data());
        return 130;
    } catch (const ExportError& error) {
        printer.finish();
        return voice.fail(error.message);
    } catch (const PreviewExportError& error) {
        printer.finish();
        return voice.fail(error.message);
    } catch (const std::exception& error) {
        printer.finish();
        return voice.fail(error.what());
    }
}

std::optional<PreviewFormat> previewFormatNamed(std::string_view name) {
    if (name == "quality")
        return PreviewFormat::quality;
    if (name == "light")
        return PreviewFormat::light;
    if (name == "smartphone")
        return PreviewFormat::smartphone;
    return std::nullopt;
}

} // namespace orvane::cli
