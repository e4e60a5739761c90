#include "cli/LayoutReport.h"

#include "model/RedBook.h"
#include "model/TimelineCalculator.h"
#include "workspace/ProjectStore.h"

#include <cstdio>
#include <nlohmann/json.hpp>
#include <sstream>
#include <type_traits>

namespace orvane::cli {

namespace {

std::string msf(std::int64_t frames) {
    return CDTime::frames(frames).msfString();
}

const char* errorName(const DDPError& error) {
    return std::holds_alternative<DDPError::TrackTooShort>(error.value) ? "trackTooShort" : "tooManyTracks";
}

nlohmann::ordered_json blockJSON(const AudioBlock& block) {
    return std::visit(
        [](const auto& b) {
            using T = std::decay_t<decltype(b)>;
            nlohmann::ordered_json j;
            if constexpr (std::is_same_v<T, AudioBlock::Silence>) {
                j["kind"] = "silence";
                j["startFrame"] = b.startFrame;
                j["durationFrames"] = b.durationFrames;
            } else if constexpr (std::is_same_v<T, AudioBlock::Track>) {
                j["kind"] = "track";
                j["trackIndex"] = b.trackIndex;
                j["startFrame"] = b.startFrame;
                j["durationFrames"] = b.durationFrames;
                j["fileStartFrame"] = b.fileStartFrame;
            } else {
                j["kind"] = "crossfade";
                j["trackIndex1"] = b.trackIndex1;
                j["trackIndex2"] = b.trackIndex2;
                j["startFrame"] = b.startFrame;
                j["durationFrames"] = b.durationFrames;
                j["fileStartFrame1"] = b.fileStartFrame1;
                j["fileStartFrame2"] = b.fileStartFrame2;
            }
            return j;
        },
        block.value);
}

std::string blockText(const AudioBlock& block) {
    char line[256];
    std::visit(
        [&line](const auto& b) {
            using T = std::decay_t<decltype(b)>;
            if constexpr (std::is_same_v<T, AudioBlock::Silence>) {
                std::snprintf(line, sizeof line, "  silence    startFrame %lld  durationFrames %lld\n",
                              static_cast<long long>(b.startFrame), static_cast<long long>(b.durationFrames));
            } else if constexpr (std::is_same_v<T, AudioBlock::Track>) {
                std::snprintf(line, sizeof line,
                              "  track      trackIndex %lld  startFrame %lld  durationFrames %lld  "
                              "fileStartFrame %lld\n",
                              static_cast<long long>(b.trackIndex), static_cast<long long>(b.startFrame),
                              static_cast<long long>(b.durationFrames),
                              static_cast<long long>(b.fileStartFrame));
            } else {
                std::snprintf(line, sizeof line,
                              "  crossfade  trackIndex1 %lld  trackIndex2 %lld  startFrame %lld  "
                              "durationFrames %lld  fileStartFrame1 %lld  fileStartFrame2 %lld\n",
                              static_cast<long long>(b.trackIndex1), static_cast<long long>(b.trackIndex2),
                              static_cast<long long>(b.startFrame), static_cast<long long>(b.durationFrames),
                              static_cast<long long>(b.fileStartFrame1),
                              static_cast<long long>(b.fileStartFrame2));
            }
        },
        block.value);
    return line;
}

} // namespace

LayoutReport makeLayoutReport(const CDProject& project) {
    LayoutReport report;
    auto positions = TimelineCalculator::calculatePositions(project);
    if (!positions) {
        report.error = positions.error();
        return report;
    }
    report.positions = std::move(*positions);
    report.blocks = AudioBlock::construct(project, report.positions);
    return report;
}

std::string layoutJSON(const LayoutReport& report) {
    nlohmann::ordered_json out;
    if (report.error) {
        out["error"] = errorName(*report.error);
        if (const auto* tooShort = std::get_if<DDPError::TrackTooShort>(&report.error->value))
            out["track"] = tooShort->track;
        return out.dump() + "\n";
    }
    out["positions"] = nlohmann::ordered_json::array();
    for (const auto& p : report.positions) {
        nlohmann::ordered_json j;
        j["trackIndex"] = p.trackIndex;
        j["startLBA"] = p.startLBA;
        j["startMSF"] = msf(p.startLBA);
        j["index01LBA"] = p.index01LBA;
        j["index01MSF"] = msf(p.index01LBA);
        j["endLBA"] = p.endLBA;
        j["endMSF"] = msf(p.endLBA);
        j["audioStartLBA"] = p.audioStartLBA;
        j["audioStartMSF"] = msf(p.audioStartLBA);
        j["audioEndLBA"] = p.audioEndLBA;
        j["audioEndMSF"] = msf(p.audioEndLBA);
        out["positions"].push_back(std::move(j));
    }
    out["blocks"] = nlohmann::ordered_json::array();
    for (const auto& b : report.blocks)
        out["blocks"].push_back(blockJSON(b));
    return out.dump(2) + "\n";
}

std::string layoutText(const LayoutReport& report) {
    std::ostringstream out;
    if (report.error) {
        out << "RedBook Validation Error: " << report.error->description() << "\n";
        return out.str();
    }
    out << "Positions (LBA and MSF; lead-out at the last track's end)\n";
    out << "  track  startLBA            index01LBA          endLBA              audioStartLBA       "
           "audioEndLBA\n";
    for (const auto& p : report.positions) {
        char line[256];
        auto cell = [](std::int64_t lba) {
            char c[32];
            std::snprintf(c, sizeof c, "%lld %s", static_cast<long long>(lba), msf(lba).c_str());
            return std::string{c};
        };
        std::snprintf(line, sizeof line, "  %5lld  %-18s  %-18s  %-18s  %-18s  %s\n",
                      static_cast<long long>(p.trackIndex), cell(p.startLBA).c_str(),
                      cell(p.index01LBA).c_str(), cell(p.endLBA).c_str(), cell(p.audioStartLBA).c_str(),
                      cell(p.audioEndLBA).c_str());
        out << line;
    }
    out << "Blocks\n";
    for (const auto& b : report.blocks)
        out << blockText(b);
    if (!report.positions.empty())
        out << "Lead-out at LBA " << report.positions.back().endLBA << " ("
            << msf(report.positions.back().endLBA) << ")\n";
    return out.str();
}

tl::expected<CDProject, std::string> loadProjectDocument(const std::string& path) {
    try {
        return ProjectStore::load(path).project;
    } catch (const ProjectStoreError& e) {
        return tl::unexpected(std::string{e.what()});
    }
}

} // namespace orvane::cli
