#include "delivery/CDTextEncoder.h"

#include "model/CDProject.h"
#include "model/DeliverySanitizing.h"

#include <algorithm>
#include <cassert>

namespace orvane::DDPWriter {

namespace {

constexpr std::size_t kPackDataLength = 12;
constexpr std::uint8_t kMaxCharPosition = 15;
constexpr std::size_t kSizePackCount = 3;
constexpr std::size_t kBlockTableLength = 8;
constexpr std::int64_t kEnglish = 9;

// One byte of the flat run with where it came from.
struct FlatByte {
    std::uint8_t value;
    std::size_t stringIndex;
    std::size_t offset;
};

std::uint8_t limitedByte(std::size_t value, std::size_t limit) {
    return static_cast<std::uint8_t>(std::min(value, limit));
}

std::vector<CDTextPack> cutIntoPacks(std::uint8_t type, const std::vector<FlatByte>& run) {
    std::vector<CDTextPack> packs;
    for (std::size_t start = 0; start < run.size(); start += kPackDataLength) {
        CDTextPack pack;
        pack.type = type;
        pack.trackNumber = limitedByte(run[start].stringIndex, 0xFF);
        pack.charPosition = limitedByte(run[start].offset, kMaxCharPosition);
        for (std::size_t i = 0; i < kPackDataLength && start + i < run.size(); ++i)
            pack.data[i] = run[start + i].value;
        packs.push_back(pack);
    }
    return packs;
}

// Block 1 takes a second-language twin when it holds text; everything else is the plain field.
std::string textFor(int block, const std::optional<std::string>& plain,
                    const std::optional<std::string>& lang2) {
    if (block == 1 && lang2 && !lang2->empty())
        return *lang2;
    return plain.value_or("");
}

struct TextType {
    std::uint8_t type;
    std::string (*album)(const CDProject&, int block);
    std::string (*track)(const CDTrack&, int block);
};

// The six text types in block order, with the album's and a track's field for each.
constexpr TextType kTextTypes[] = {
    {CDTextPackType::title,
     [](const CDProject& p, int b) { return textFor(b, p.albumTitle, p.albumTitleLang2); },
     [](const CDTrack& t, int b) { return textFor(b, t.title, t.titleLang2); }},
    {CDTextPackType::performer,
     [](const CDProject& p, int b) { return textFor(b, p.albumPerformer, p.albumPerformerLang2); },
     [](const CDTrack& t, int b) { return textFor(b, t.performer, t.performerLang2); }},
    {CDTextPackType::songwriter,
     [](const CDProject& p, int b) { return textFor(b, p.albumSongwriter, p.albumSongwriterLang2); },
     [](const CDTrack& t, int b) { return textFor(b, t.songwriter, t.songwriterLang2); }},
    {CDTextPackType::composer,
     [](const CDProject& p, int b) { return textFor(b, p.albumComposer, p.albumComposerLang2); },
     [](const CDTrack& t, int b) { return textFor(b, t.composer, t.composerLang2); }},
    {CDTextPackType::arranger,
     [](const CDProject& p, int b) { return textFor(b, p.albumArranger, p.albumArrangerLang2); },
     [](const CDTrack& t, int b) { return textFor(b, t.arranger, t.arrangerLang2); }},
    {CDTextPackType::message,
     [](const CDProject& p, int b) { return textFor(b, p.albumMessage, p.albumMessageLang2); },
     [](const CDTrack& t, int b) { return textFor(b, t.message, t.messageLang2); }},
};

bool allEmpty(const std::vector<std::string>& strings) {
    return std::all_of(strings.begin(), strings.end(), [](const std::string& s) { return s.empty(); });
}

void append(std::vector<CDTextPack>& to, const std::vector<CDTextPack>& packs) {
    to.insert(to.end(), packs.begin(), packs.end());
}

struct Block {
    int number;
    std::vector<CDTextPack> packs;
};

// The 36 bytes of size information of one block, as three 0x8F packs.
std::vector<CDTextPack> sizePacks(const CDProject& project, const std::vector<CDTextPack>& content,
                                  const std::array<std::uint8_t, kBlockTableLength>& lastSequence,
                                  const std::array<std::uint8_t, kBlockTableLength>& language) {
    std::array<std::uint8_t, kSizePackCount * kPackDataLength> info{};
    info[0] = 0x00; // ISO 8859-1
    info[1] = 1;
    info[2] = limitedByte(project.tracks.size(), 0xFF);
    info[3] = 0x00;
    for (const CDTextPack& pack : content)
        ++info[4 + (pack.type & 0x0F)];
    info[4 + 15] = static_cast<std::uint8_t>(kSizePackCount);
    std::copy(lastSequence.begin(), lastSequence.end(), info.begin() + 20);
    std::copy(language.begin(), language.end(), info.begin() + 28);

    std::vector<CDTextPack> packs;
    for (std::size_t i = 0; i < kSizePackCount; ++i) {
        CDTextPack pack;
        pack.type = CDTextPackType::sizeInfo;
        pack.trackNumber = static_cast<std::uint8_t>(i);
        std::copy_n(info.begin() + static_cast<std::ptrdiff_t>(i * kPackDataLength), kPackDataLength,
                    pack.data.begin());
        packs.push_back(pack);
    }
    return packs;
}

std::uint8_t languageByte(const std::optional<std::int64_t>& code) {
    return static_cast<std::uint8_t>(std::clamp<std::int64_t>(code.value_or(kEnglish), 0, 255));
}

} // namespace

std::vector<CDTextPack> packsForType(std::uint8_t type, std::span<const std::string> strings) {
    std::vector<FlatByte> run;
    for (std::size_t i = 0; i < strings.size(); ++i) {
        const std::string bytes = latin1Bytes(strings[i]);
        for (std::size_t offset = 0; offset < bytes.size(); ++offset)
            run.push_back({static_cast<std::uint8_t>(bytes[offset]), i, offset});
        run.push_back({0x00, i, bytes.size()});
    }
    return cutIntoPacks(type, run);
}

std::vector<CDTextPack> genrePacks(std::int64_t code, std::string_view text) {
    const auto code16 = static_cast<std::uint16_t>(code & 0xFFFF);
    std::vector<FlatByte> run;
    run.push_back({static_cast<std::uint8_t>(code16 >> 8), 0, 0});
    run.push_back({static_cast<std::uint8_t>(code16 & 0xFF), 0, 1});
    for (const char c : latin1Bytes(text))
        run.push_back({static_cast<std::uint8_t>(c), 0, run.size()});
    run.push_back({0x00, 0, run.size()});
    return cutIntoPacks(CDTextPackType::genre, run);
}

std::vector<CDTextPack> cdTextContentPacks(const CDProject& project, int blockNumber) {
    std::vector<CDTextPack> packs;
    if (project.tracks.empty())
        return packs;
    for (const TextType& textType : kTextTypes) {
        std::vector<std::string> strings{textType.album(project, blockNumber)};
        for (const CDTrack& track : project.tracks)
            strings.push_back(textType.track(track, blockNumber));
        if (!allEmpty(strings))
            append(packs, packsForType(textType.type, strings));
    }
    if (project.discID && !project.discID->empty())
        append(packs, packsForType(CDTextPackType::discID, std::vector<std::string>{*project.discID}));
    if (project.genreCode)
        append(packs, genrePacks(*project.genreCode, project.genreText.value_or("")));
    std::vector<std::string> codes{sanitizedMCN(project.mcn)};
    for (const CDTrack& track : project.tracks)
        codes.push_back(sanitizedISRC(track.isrc));
    if (!allEmpty(codes))
        append(packs, packsForType(CDTextPackType::upcISRC, codes));
    return packs;
}

std::vector<std::int64_t> cdTextBlockPackCounts(const CDProject& project) {
    std::vector<std::int64_t> counts{static_cast<std::int64_t>(cdTextContentPacks(project, 0).size())};
    if (project.cdTextLanguage2Code)
        counts.push_back(static_cast<std::int64_t>(cdTextContentPacks(project, 1).size()));
    return counts;
}

std::string framePack(const CDTextPack& pack, std::uint8_t sequence, int blockNumber) {
    std::string out(cdTextPackLength, '\0');
    out[0] = static_cast<char>(pack.type);
    out[1] = static_cast<char>(pack.trackNumber & 0x7F);
    out[2] = static_cast<char>(sequence);
    out[3] = static_cast<char>(((pack.charPosition & 0x0F) | (blockNumber << 4)) & 0x7F);
    std::copy(pack.data.begin(), pack.data.end(), out.begin() + 4);
    const std::uint16_t crc = cdTextCRC(std::string_view(out).substr(0, 16));
    out[16] = static_cast<char>(crc >> 8);
    out[17] = static_cast<char>(crc & 0xFF);
    return out;
}

std::optional<std::string> cdTextData(const CDProject& project) {
    std::vector<Block> blocks;
    if (auto packs = cdTextContentPacks(project, 0); !packs.empty())
        blocks.push_back({0, std::move(packs)});
    if (project.cdTextLanguage2Code)
        if (auto packs = cdTextContentPacks(project, 1); !packs.empty())
            blocks.push_back({1, std::move(packs)});
    if (blocks.empty())
        return std::nullopt;
    for (const Block& block : blocks)
        if (static_cast<std::int64_t>(block.packs.size()) > cdTextMaxPacks)
            return std::nullopt;

    std::array<std::uint8_t, kBlockTableLength> lastSequence{};
    std::array<std::uint8_t, kBlockTableLength> language{};
    for (const Block& block : blocks) {
        const auto b = static_cast<std::size_t>(block.number);
        lastSequence[b] = static_cast<std::uint8_t>(block.packs.size() + kSizePackCount - 1);
        language[b] =
            languageByte(block.number == 0 ? project.cdTextLanguageCode : project.cdTextLanguage2Code);
    }

    std::string stream;
    for (const Block& block : blocks) {
        std::vector<CDTextPack> packs = block.packs;
        append(packs, sizePacks(project, block.packs, lastSequence, language));
        for (std::size_t sequence = 0; sequence < packs.size(); ++sequence)
            stream += framePack(packs[sequence], static_cast<std::uint8_t>(sequence), block.number);
    }
    return stream;
}

std::uint16_t cdTextCRC(std::string_view bytes) {
    std::uint16_t crc = 0x0000;
    for (const char c : bytes) {
        crc ^= static_cast<std::uint16_t>(static_cast<std::uint8_t>(c) << 8);
        for (int bit = 0; bit < 8; ++bit)
            crc = (crc & 0x8000) ? static_cast<std::uint16_t>((crc << 1) ^ 0x1021)
                                 : static_cast<std::uint16_t>(crc << 1);
    }
    return static_cast<std::uint16_t>(~crc);
}

} // namespace orvane::DDPWriter
