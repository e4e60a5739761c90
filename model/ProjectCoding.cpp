#include "model/ProjectCoding.h"

#include <charconv>
#include <cmath>
#include <limits>
#include <nlohmann/json.hpp>
#include <utility>

namespace orvane {

using nlohmann::json;

std::string DecodeError::description() const {
    return path + ": " + message;
}

namespace {

// Thrown inside this file only; the public entry points turn it into an unexpected value so that
// no partial record ever leaves the decoder.
struct DecodeFailure {
    DecodeError error;
};

[[noreturn]] void fail(std::string path, std::string message) {
    throw DecodeFailure{DecodeError{std::move(path), std::move(message)}};
}

std::string kindOf(const json& value) {
    switch (value.type()) {
    case json::value_t::null:
        return "null";
    case json::value_t::boolean:
        return "boolean";
    case json::value_t::number_integer:
    case json::value_t::number_unsigned:
        return "integer";
    case json::value_t::number_float:
        return "float";
    case json::value_t::string:
        return "string";
    case json::value_t::array:
        return "array";
    case json::value_t::object:
        return "object";
    default:
        return "unsupported value";
    }
}

[[noreturn]] void failType(const std::string& path, const char* expected, const json& found) {
    fail(path, std::string{"expected "} + expected + ", found " + kindOf(found));
}

// ---- Scalars -----------------------------------------------------------------------------------

std::string asString(const json& value, const std::string& path) {
    if (!value.is_string())
        failType(path, "string", value);
    return value.get<std::string>();
}

std::int64_t asInteger(const json& value, const std::string& path) {
    if (value.is_number_unsigned()) {
        const auto unsignedValue = value.get<std::uint64_t>();
        if (unsignedValue > static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max()))
            fail(path, "integer " + value.dump() + " does not fit in 64 bits");
        return static_cast<std::int64_t>(unsignedValue);
    }
    if (!value.is_number_integer())
        failType(path, "integer", value);
    return value.get<std::int64_t>();
}

bool asBoolean(const json& value, const std::string& path) {
    if (!value.is_boolean())
        failType(path, "boolean", value);
    return value.get<bool>();
}

double asDouble(const json& value, const std::string& path) {
    if (!value.is_number())
        failType(path, "number", value);
    return value.get<double>();
}

float asFloat(const json& value, const std::string& path) {
    const double number = asDouble(value, path);
    if (std::fabs(number) > static_cast<double>(std::numeric_limits<float>::max()))
        fail(path, "number " + value.dump() + " does not fit in a 32-bit float");
    return static_cast<float>(number);
}

Uuid asUuid(const json& value, const std::string& path) {
    const auto parsed = Uuid::parse(asString(value, path));
    if (!parsed)
        fail(path, "expected a UUID, found " + value.dump());
    return *parsed;
}

FileURL asURL(const json& value, const std::string& path) {
    const auto parsed = FileURL::parse(asString(value, path));
    if (!parsed)
        fail(path, "expected a URL, found " + value.dump());
    return *parsed;
}

Timestamp asDate(const json& value, const std::string& path) {
    const auto parsed = Timestamp::parseISO8601(asString(value, path));
    if (!parsed)
        fail(path, "expected an ISO 8601 date, found " + value.dump());
    return *parsed;
}

// A 32-bit float as the number its shortest decimal text names, so that 0.1f is written as 0.1
// rather than as the double 0.10000000149011612.
json floatValue(float value) {
    char text[32];
    const auto written = std::to_chars(std::begin(text), std::end(text), value);
    double shortest = static_cast<double>(value);
    // Both conversions ignore the locale; a non-finite value keeps its own (unwritable) double.
    std::from_chars(text, written.ptr, shortest);
    return json(shortest);
}

// ---- Reading objects ---------------------------------------------------------------------------

// One JSON object being decoded, with its path for messages. Optional keys holding null read as
// absent; a required key holding null is a value of the wrong type.
class Reader {
  public:
    Reader(const json& value, std::string path) : object_(value), path_(std::move(path)) {
        if (!value.is_object())
            failType(path_, "object", value);
    }

    const std::string& path() const { return path_; }
    std::string pathOf(std::string_view key) const { return path_ + "." + std::string{key}; }

    const json& required(std::string_view key) const {
        const auto it = object_.find(key);
        if (it == object_.end())
            fail(path_, "missing required key \"" + std::string{key} + "\"");
        return *it;
    }
    const json* optional(std::string_view key) const {
        const auto it = object_.find(key);
        return it == object_.end() || it->is_null() ? nullptr : &*it;
    }

    std::string string(std::string_view key) const { return asString(required(key), pathOf(key)); }
    std::int64_t integer(std::string_view key) const { return asInteger(required(key), pathOf(key)); }
    bool boolean(std::string_view key) const { return asBoolean(required(key), pathOf(key)); }
    float float32(std::string_view key) const { return asFloat(required(key), pathOf(key)); }
    double float64(std::string_view key) const { return asDouble(required(key), pathOf(key)); }
    Uuid uuid(std::string_view key) const { return asUuid(required(key), pathOf(key)); }
    FileURL url(std::string_view key) const { return asURL(required(key), pathOf(key)); }
    Timestamp date(std::string_view key) const { return asDate(required(key), pathOf(key)); }

    void read(std::string_view key, std::optional<std::string>& out) const {
        if (const json* v = optional(key))
            out = asString(*v, pathOf(key));
    }
    void read(std::string_view key, std::optional<std::int64_t>& out) const {
        if (const json* v = optional(key))
            out = asInteger(*v, pathOf(key));
    }
    void read(std::string_view key, std::optional<bool>& out) const {
        if (const json* v = optional(key))
            out = asBoolean(*v, pathOf(key));
    }
    void read(std::string_view key, std::optional<float>& out) const {
        if (const json* v = optional(key))
            out = asFloat(*v, pathOf(key));
    }
    void read(std::string_view key, std::optional<double>& out) const {
        if (const json* v = optional(key))
            out = asDouble(*v, pathOf(key));
    }
    void read(std::string_view key, std::optional<FileURL>& out) const {
        if (const json* v = optional(key))
            out = asURL(*v, pathOf(key));
    }
    void read(std::string_view key, std::optional<Timestamp>& out) const {
        if (const json* v = optional(key))
            out = asDate(*v, pathOf(key));
    }
    // Keys with a default: the field keeps its default when the key is absent.
    void readDefaulted(std::string_view key, std::int64_t& out) const {
        if (const json* v = optional(key))
            out = asInteger(*v, pathOf(key));
    }
    void readDefaulted(std::string_view key, bool& out) const {
        if (const json* v = optional(key))
            out = asBoolean(*v, pathOf(key));
    }
    void readDefaulted(std::string_view key, float& out) const {
        if (const json* v = optional(key))
            out = asFloat(*v, pathOf(key));
    }

    // The array under a key, or nullptr when an optional array is absent.
    const json* array(std::string_view key, bool isRequired) const {
        const json* value = isRequired ? &required(key) : optional(key);
        if (value != nullptr && !value->is_array())
            failType(pathOf(key), "array", *value);
        return value;
    }
    std::string elementPath(std::string_view key, std::size_t index) const {
        return pathOf(key) + "[" + std::to_string(index) + "]";
    }

  private:
    const json& object_;
    std::string path_;
};

// ---- Writing objects ---------------------------------------------------------------------------

void put(json& out, const char* key, const std::optional<std::string>& value) {
    if (value)
        out[key] = *value;
}
void put(json& out, const char* key, const std::optional<std::int64_t>& value) {
    if (value)
        out[key] = *value;
}
void put(json& out, const char* key, const std::optional<bool>& value) {
    if (value)
        out[key] = *value;
}
void put(json& out, const char* key, const std::optional<float>& value) {
    if (value)
        out[key] = floatValue(*value);
}
void put(json& out, const char* key, const std::optional<double>& value) {
    if (value)
        out[key] = *value;
}
void put(json& out, const char* key, const std::optional<FileURL>& value) {
    if (value)
        out[key] = value->absoluteString;
}
void put(json& out, const char* key, const std::optional<Timestamp>& value) {
    if (value)
        out[key] = value->iso8601();
}

// ---- Records -----------------------------------------------------------------------------------

json encodeTime(const CDTime& time) {
    return json{{"totalFrames", time.totalFrames}};
}

CDTime decodeTime(const json& value, const std::string& path) {
    return CDTime::frames(Reader{value, path}.integer("totalFrames"));
}

json encodeGainPoint(const GainPoint& point) {
    json out = json::object();
    out["id"] = point.id.string();
    out["positionSamples"] = point.positionSamples;
    out["gainDB"] = floatValue(point.gainDB);
    put(out, "smoothing", point.smoothing);
    return out;
}

GainPoint decodeGainPoint(const json& value, const std::string& path) {
    const Reader in{value, path};
    GainPoint point;
    point.id = in.uuid("id");
    point.positionSamples = in.integer("positionSamples");
    point.gainDB = in.float32("gainDB");
    in.read("smoothing", point.smoothing);
    return point;
}

json encodeGainPoints(const std::vector<GainPoint>& points) {
    json out = json::array();
    for (const auto& point : points)
        out.push_back(encodeGainPoint(point));
    return out;
}

void decodeGainPoints(const Reader& in, std::vector<GainPoint>& out) {
    if (const json* items = in.array("gainPoints", false)) {
        out.reserve(items->size());
        for (std::size_t i = 0; i < items->size(); ++i)
            out.push_back(decodeGainPoint((*items)[i], in.elementPath("gainPoints", i)));
    }
}

json encodeLoudness(const StoredLoudness& loudness) {
    json out = json::object();
    out["fileSize"] = loudness.fileSize;
    out["fileModified"] = loudness.fileModified.iso8601();
    out["lufs"] = loudness.lufs;
    out["truePeak"] = loudness.truePeak;
    put(out, "lra", loudness.lra);
    put(out, "blocks", loudness.blocks);
    put(out, "hops", loudness.hops);
    put(out, "hopSamples", loudness.hopSamples);
    return out;
}

StoredLoudness decodeLoudness(const json& value, const std::string& path) {
    const Reader in{value, path};
    StoredLoudness loudness;
    loudness.fileSize = in.integer("fileSize");
    loudness.fileModified = in.date("fileModified");
    loudness.lufs = in.float64("lufs");
    loudness.truePeak = in.float64("truePeak");
    in.read("lra", loudness.lra);
    in.read("blocks", loudness.blocks);
    in.read("hops", loudness.hops);
    in.read("hopSamples", loudness.hopSamples);
    return loudness;
}

void putLoudness(json& out, const std::optional<StoredLoudness>& loudness) {
    if (loudness)
        out["loudness"] = encodeLoudness(*loudness);
}

void readLoudness(const Reader& in, std::optional<StoredLoudness>& out) {
    if (const json* value = in.optional("loudness"))
        out = decodeLoudness(*value, in.pathOf("loudness"));
}

json encodeVersion(const TrackVersion& version) {
    json out = json::object();
    out["id"] = version.id.string();
    out["url"] = version.url.absoluteString;
    put(out, "creationDate", version.creationDate);
    put(out, "colorHex", version.colorHex);
    put(out, "label", version.label);
    put(out, "note", version.note);
    put(out, "srcAlgorithm", version.srcAlgorithm);
    put(out, "srcPhase", version.srcPhase);
    put(out, "rating", version.rating);
    putLoudness(out, version.loudness);
    return out;
}

TrackVersion decodeVersion(const json& value, const std::string& path) {
    const Reader in{value, path};
    TrackVersion version;
    version.id = in.uuid("id");
    version.url = in.url("url");
    in.read("creationDate", version.creationDate);
    in.read("colorHex", version.colorHex);
    in.read("label", version.label);
    in.read("note", version.note);
    in.read("srcAlgorithm", version.srcAlgorithm);
    in.read("srcPhase", version.srcPhase);
    in.read("rating", version.rating);
    readLoudness(in, version.loudness);
    return version;
}

// The text fields of a track, all optional, in one table for both directions.
constexpr std::pair<const char*, std::optional<std::string> CDTrack::*> kTrackTexts[] = {
    {"isrc", &CDTrack::isrc},
    {"performer", &CDTrack::performer},
    {"songwriter", &CDTrack::songwriter},
    {"composer", &CDTrack::composer},
    {"arranger", &CDTrack::arranger},
    {"message", &CDTrack::message},
    {"note", &CDTrack::note},
    {"titleLang2", &CDTrack::titleLang2},
    {"performerLang2", &CDTrack::performerLang2},
    {"songwriterLang2", &CDTrack::songwriterLang2},
    {"composerLang2", &CDTrack::composerLang2},
    {"arrangerLang2", &CDTrack::arrangerLang2},
    {"messageLang2", &CDTrack::messageLang2},
    {"srcAlgorithm", &CDTrack::srcAlgorithm},
    {"srcPhase", &CDTrack::srcPhase},
    {"activeColorHex", &CDTrack::activeColorHex},
    {"activeLabel", &CDTrack::activeLabel},
    {"activeNote", &CDTrack::activeNote},
};

// The edit fields a track shares with a vinyl edit.
template <typename Edit> void encodeEditFields(json& out, const Edit& edit) {
    out["trimStartSamples"] = edit.trimStartSamples;
    out["trimEndSamples"] = edit.trimEndSamples;
    out["fadeInSamples"] = edit.fadeInSamples;
    out["fadeOutSamples"] = edit.fadeOutSamples;
    out["fadeInCurve"] = floatValue(edit.fadeInCurve);
    out["fadeOutCurve"] = floatValue(edit.fadeOutCurve);
    out["crossfadeCurve"] = floatValue(edit.crossfadeCurve);
    out["gainEnabled"] = edit.gainEnabled;
    out["gainDB"] = floatValue(edit.gainDB);
    out["gainPoints"] = encodeGainPoints(edit.gainPoints);
    out["envelopeEnabled"] = edit.envelopeEnabled;
    out["envelopeSmoothing"] = floatValue(edit.envelopeSmoothing);
}

json encodeTrackObject(const CDTrack& track) {
    json out = json::object();
    out["id"] = track.id.string();
    put(out, "audioFileURL", track.audioFileURL);
    put(out, "creationDate", track.creationDate);
    json versions = json::array();
    for (const auto& version : track.versions)
        versions.push_back(encodeVersion(version));
    out["versions"] = std::move(versions);
    out["title"] = track.title;
    for (const auto& [key, field] : kTrackTexts)
        put(out, key, track.*field);
    encodeEditFields(out, track);
    out["preGap"] = encodeTime(track.preGap);
    out["sourceAudioSamples"] = track.sourceAudioSamples;
    out["indexLocked"] = track.indexLocked;
    out["index01OffsetFrames"] = track.index01OffsetFrames;
    out["subIndexFrames"] = track.subIndexFrames;
    out["preEmphasis"] = track.preEmphasis;
    out["copyPermitted"] = track.copyPermitted;
    out["ditherEnabled"] = track.ditherEnabled;
    out["versionColorSeq"] = track.versionColorSeq;
    put(out, "activeRating", track.activeRating);
    putLoudness(out, track.loudness);
    return out;
}

void decodeTrackEdit(const Reader& in, CDTrack& track) {
    in.readDefaulted("trimStartSamples", track.trimStartSamples);
    in.readDefaulted("trimEndSamples", track.trimEndSamples);
    in.readDefaulted("fadeInSamples", track.fadeInSamples);
    in.readDefaulted("fadeOutSamples", track.fadeOutSamples);
    in.readDefaulted("fadeInCurve", track.fadeInCurve);
    in.readDefaulted("fadeOutCurve", track.fadeOutCurve);
    in.readDefaulted("crossfadeCurve", track.crossfadeCurve);
    in.readDefaulted("gainEnabled", track.gainEnabled);
    in.readDefaulted("gainDB", track.gainDB);
    decodeGainPoints(in, track.gainPoints);
    in.readDefaulted("envelopeEnabled", track.envelopeEnabled);
    in.readDefaulted("envelopeSmoothing", track.envelopeSmoothing);
}

CDTrack decodeTrackObject(const json& value, const std::string& path) {
    const Reader in{value, path};
    CDTrack track;
    track.id = in.uuid("id");
    in.read("audioFileURL", track.audioFileURL);
    in.read("creationDate", track.creationDate);
    if (const json* versions = in.array("versions", false)) {
        track.versions.reserve(versions->size());
        for (std::size_t i = 0; i < versions->size(); ++i)
            track.versions.push_back(decodeVersion((*versions)[i], in.elementPath("versions", i)));
    }
    track.title = in.string("title");
    for (const auto& [key, field] : kTrackTexts)
        in.read(key, track.*field);
    decodeTrackEdit(in, track);
    track.preGap = decodeTime(in.required("preGap"), in.pathOf("preGap"));
    track.sourceAudioSamples = in.integer("sourceAudioSamples");
    in.readDefaulted("indexLocked", track.indexLocked);
    in.readDefaulted("index01OffsetFrames", track.index01OffsetFrames);
    if (const json* offsets = in.array("subIndexFrames", false)) {
        track.subIndexFrames.reserve(offsets->size());
        for (std::size_t i = 0; i < offsets->size(); ++i)
            track.subIndexFrames.push_back(asInteger((*offsets)[i], in.elementPath("subIndexFrames", i)));
    }
    in.readDefaulted("preEmphasis", track.preEmphasis);
    in.readDefaulted("copyPermitted", track.copyPermitted);
    in.readDefaulted("ditherEnabled", track.ditherEnabled);
    in.readDefaulted("versionColorSeq", track.versionColorSeq);
    in.read("activeRating", track.activeRating);
    readLoudness(in, track.loudness);
    return track;
}

// ---- Vinyl -------------------------------------------------------------------------------------

json encodeVinylEdit(const VinylEdit& edit) {
    json out = json::object();
    encodeEditFields(out, edit);
    put(out, "takeURL", edit.takeURL);
    out["takeSourceSamples"] = edit.takeSourceSamples;
    put(out, "takeSRCAlgorithm", edit.takeSRCAlgorithm);
    put(out, "takeSRCPhase", edit.takeSRCPhase);
    return out;
}

VinylEdit decodeVinylEdit(const json& value, const std::string& path) {
    const Reader in{value, path};
    VinylEdit edit;
    edit.trimStartSamples = in.integer("trimStartSamples");
    edit.trimEndSamples = in.integer("trimEndSamples");
    edit.fadeInSamples = in.integer("fadeInSamples");
    edit.fadeOutSamples = in.integer("fadeOutSamples");
    edit.fadeInCurve = in.float32("fadeInCurve");
    edit.fadeOutCurve = in.float32("fadeOutCurve");
    edit.gainEnabled = in.boolean("gainEnabled");
    edit.gainDB = in.float32("gainDB");
    edit.crossfadeCurve = in.float32("crossfadeCurve");
    in.readDefaulted("envelopeEnabled", edit.envelopeEnabled);
    decodeGainPoints(in, edit.gainPoints);
    in.readDefaulted("envelopeSmoothing", edit.envelopeSmoothing);
    in.read("takeURL", edit.takeURL);
    in.readDefaulted("takeSourceSamples", edit.takeSourceSamples);
    in.read("takeSRCAlgorithm", edit.takeSRCAlgorithm);
    in.read("takeSRCPhase", edit.takeSRCPhase);
    return edit;
}

json encodeEntry(const ProgramEntry& entry) {
    json out = json::object();
    out["id"] = entry.id.string();
    out["trackID"] = entry.trackID.string();
    out["gapFrames"] = entry.gapFrames;
    if (entry.edit)
        out["edit"] = encodeVinylEdit(*entry.edit);
    return out;
}

ProgramEntry decodeEntry(const json& value, const std::string& path) {
    const Reader in{value, path};
    ProgramEntry entry;
    entry.id = in.uuid("id");
    entry.trackID = in.uuid("trackID");
    entry.gapFrames = in.integer("gapFrames");
    if (const json* edit = in.optional("edit"))
        entry.edit = decodeVinylEdit(*edit, in.pathOf("edit"));
    return entry;
}

json encodeGroup(const ProgramGroup& group) {
    json out = json::object();
    out["id"] = group.id.string();
    out["label"] = group.label;
    json entries = json::array();
    for (const auto& entry : group.entries)
        entries.push_back(encodeEntry(entry));
    out["entries"] = std::move(entries);
    put(out, "matrixNumber", group.matrixNumber);
    return out;
}

ProgramGroup decodeGroup(const json& value, const std::string& path) {
    const Reader in{value, path};
    ProgramGroup group;
    group.id = in.uuid("id");
    group.label = in.string("label");
    const json& entries = *in.array("entries", true);
    group.entries.reserve(entries.size());
    for (std::size_t i = 0; i < entries.size(); ++i)
        group.entries.push_back(decodeEntry(entries[i], in.elementPath("entries", i)));
    in.read("matrixNumber", group.matrixNumber);
    return group;
}

json encodeProgram(const VinylProgram& program) {
    json out = json::object();
    json sides = json::array();
    for (const auto& side : program.sides)
        sides.push_back(encodeGroup(side));
    out["sides"] = std::move(sides);
    out["sideTargetFrames"] = program.sideTargetFrames;
    put(out, "formatName", program.formatName);
    return out;
}

VinylProgram decodeProgram(const json& value, const std::string& path) {
    const Reader in{value, path};
    VinylProgram program;
    const json& sides = *in.array("sides", true);
    program.sides.reserve(sides.size());
    for (std::size_t i = 0; i < sides.size(); ++i)
        program.sides.push_back(decodeGroup(sides[i], in.elementPath("sides", i)));
    program.sideTargetFrames = in.integer("sideTargetFrames");
    in.read("formatName", program.formatName);
    return program;
}

// ---- Project -----------------------------------------------------------------------------------

constexpr std::pair<const char*, std::optional<std::string> CDProject::*> kProjectTexts[] = {
    {"albumPerformer", &CDProject::albumPerformer},
    {"albumSongwriter", &CDProject::albumSongwriter},
    {"albumComposer", &CDProject::albumComposer},
    {"albumArranger", &CDProject::albumArranger},
    {"albumMessage", &CDProject::albumMessage},
    {"masterNote", &CDProject::masterNote},
    {"discID", &CDProject::discID},
    {"genreText", &CDProject::genreText},
    {"masterID", &CDProject::masterID},
    {"albumTitleLang2", &CDProject::albumTitleLang2},
    {"albumPerformerLang2", &CDProject::albumPerformerLang2},
    {"albumSongwriterLang2", &CDProject::albumSongwriterLang2},
    {"albumComposerLang2", &CDProject::albumComposerLang2},
    {"albumArrangerLang2", &CDProject::albumArrangerLang2},
    {"albumMessageLang2", &CDProject::albumMessageLang2},
    {"masterSRC", &CDProject::masterSRC},
    {"masterDither", &CDProject::masterDither},
    {"masterSRCPhase", &CDProject::masterSRCPhase},
};

constexpr std::pair<const char*, std::optional<std::int64_t> CDProject::*> kProjectCodes[] = {
    {"genreCode", &CDProject::genreCode},
    {"cdTextLanguageCode", &CDProject::cdTextLanguageCode},
    {"cdTextLanguage2Code", &CDProject::cdTextLanguage2Code},
};

CDProject decodeProjectObject(const json& value, const std::string& path) {
    const Reader in{value, path};
    CDProject project;
    project.mcn = in.string("mcn");
    project.albumTitle = in.string("albumTitle");
    const json& tracks = *in.array("tracks", true);
    project.tracks.reserve(tracks.size());
    for (std::size_t i = 0; i < tracks.size(); ++i)
        project.tracks.push_back(decodeTrackObject(tracks[i], in.elementPath("tracks", i)));
    for (const auto& [key, field] : kProjectTexts)
        in.read(key, project.*field);
    for (const auto& [key, field] : kProjectCodes)
        in.read(key, project.*field);
    in.read("srcHybridMode", project.srcHybridMode);
    if (const json* program = in.optional("vinylProgram"))
        project.vinylProgram = decodeProgram(*program, in.pathOf("vinylProgram"));
    return project;
}

} // namespace

namespace ProjectCoding {

json encode(const CDProject& project) {
    json out = json::object();
    out["mcn"] = project.mcn;
    out["albumTitle"] = project.albumTitle;
    json tracks = json::array();
    for (const auto& track : project.tracks)
        tracks.push_back(encodeTrackObject(track));
    out["tracks"] = std::move(tracks);
    for (const auto& [key, field] : kProjectTexts)
        put(out, key, project.*field);
    for (const auto& [key, field] : kProjectCodes)
        put(out, key, project.*field);
    put(out, "srcHybridMode", project.srcHybridMode);
    if (project.vinylProgram)
        out["vinylProgram"] = encodeProgram(*project.vinylProgram);
    return out;
}

tl::expected<CDProject, DecodeError> decode(const json& document, const std::string& path) {
    try {
        return decodeProjectObject(document, path);
    } catch (const DecodeFailure& failure) {
        return tl::unexpected(failure.error);
    }
}

json encodeTrack(const CDTrack& track) {
    return encodeTrackObject(track);
}

tl::expected<CDTrack, DecodeError> decodeTrack(const json& document, const std::string& path) {
    try {
        return decodeTrackObject(document, path);
    } catch (const DecodeFailure& failure) {
        return tl::unexpected(failure.error);
    }
}

} // namespace ProjectCoding

} // namespace orvane
