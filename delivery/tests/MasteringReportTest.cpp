#include "delivery/MasteringReportBuilder.h"
#include "delivery/MasteringReportModel.h"
#include "delivery/tests/PQSheetFixture.h"
#include "platform/AudioFileWriter.h"
#include "testsupport/TempFolder.h"

#include <cairo.h>
#include <gtest/gtest.h>
#include <poppler/cpp/poppler-document.h>
#include <poppler/cpp/poppler-page.h>

#include <algorithm>
#include <memory>

namespace orvane {
namespace {

using pqtest::positionsOf;
using pqtest::secondsTrack;

struct Pages {
    std::vector<std::string> text;
    bool fontsEmbedded = true;
    double width = 0.0, height = 0.0;
    double rightmostText = 0.0; // the right edge of the text box furthest right on any page
};

Pages readPDF(const std::string& bytes) {
    Pages out;
    std::unique_ptr<poppler::document> doc(
        poppler::document::load_from_raw_data(bytes.data(), static_cast<int>(bytes.size())));
    if (!doc) {
        ADD_FAILURE() << "not a PDF a reader opens";
        return out;
    }
    for (const auto& font : doc->fonts())
        out.fontsEmbedded = out.fontsEmbedded && font.is_embedded();
    for (int i = 0; i < doc->pages(); ++i) {
        std::unique_ptr<poppler::page> page(doc->create_page(i));
        const auto utf8 = page->text().to_utf8();
        out.text.emplace_back(utf8.begin(), utf8.end());
        for (const auto& box : page->text_list())
            out.rightmostText = std::max(out.rightmostText, box.bbox().right());
        out.width = page->page_rect().width();
        out.height = page->page_rect().height();
    }
    return out;
}

bool has(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

cairo_status_t appendTo(void* closure, const unsigned char* data, unsigned int length) {
    auto* bytes = static_cast<std::vector<std::uint8_t>*>(closure);
    bytes->insert(bytes->end(), data, data + length);
    return CAIRO_STATUS_SUCCESS;
}

std::vector<std::uint8_t> pngOf(int width, int height) {
    cairo_surface_t* image = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, width, height);
    cairo_t* cr = cairo_create(image);
    cairo_set_source_rgb(cr, 0.8, 0.1, 0.1);
    cairo_paint(cr);
    cairo_destroy(cr);
    std::vector<std::uint8_t> bytes;
    cairo_surface_write_to_png_stream(image, appendTo, &bytes);
    cairo_surface_destroy(image);
    return bytes;
}

class MasteringReport : public ::testing::Test {
  protected:
    void writeWav(const std::string& name, double rate, AudioSampleFormat format) {
        auto writer = AudioFileWriter::open(temp.path / name, {AudioContainer::wav, format, rate, 2});
        ASSERT_TRUE(writer.has_value());
        AudioBuffer buffer(rate, 2, 100);
        buffer.setFrameLength(100);
        ASSERT_TRUE(writer->write(buffer).has_value());
        ASSERT_TRUE(writer->finish().has_value());
    }
    CDProject album() {
        CDProject project;
        project.albumTitle = "Night Shift";
        project.mcn = "4006381333931";
        for (const char* title : {"Opening", "Second Song", "Closer"})
            project.tracks.push_back(secondsTrack(title, 150, 30));
        writeWav("one.wav", 96000.0, AudioSampleFormat::int24);
        writeWav("two.wav", 44100.0, AudioSampleFormat::int16);
        project.tracks[0].audioFileURL = FileURL::fromPath(temp.path / "one.wav");
        project.tracks[1].audioFileURL = FileURL::fromPath(temp.path / "two.wav");
        project.tracks[2].audioFileURL = FileURL::fromPath(temp.path / "moved away.wav");
        return project;
    }
    testing::TempFolder temp{"orvane-report-test"};
    DefaultsStore defaults{temp.path / "defaults.json"};
};

TEST_F(MasteringReport, showsTheStudioTheDiscTheAlbumLoudnessEveryTrackAndItsSourceFile) {
    const CDProject project = album();
    MasteringReportModel model(defaults, false);
    model.setStudioName("  Harbour Mastering  ");
    model.setStudioContact("12 Quay Street \u00b7 hello@harbour.example");
    model.setEngineer("R. Vale");
    model.setClient("Lantern Records");
    model.setDateString("Nov 24, 2026");
    model.setLogoData(pngOf(300, 60));
    const TrackLoudnessMap loudness{{project.tracks[0].id, TrackLoudness{-14.04, -1.02, 6.3}},
                                    {project.tracks[1].id, TrackLoudness{-12.5, -0.3, std::nullopt}}};
    const auto pdf = MasteringReportBuilder::pdfData(project, positionsOf(project), model, loudness,
                                                     TrackLoudness{-13.2, -0.3, 7.1});
    ASSERT_TRUE(pdf.has_value()) << pdf.error();
    const Pages pages = readPDF(*pdf);
    ASSERT_EQ(pages.text.size(), 1u);
    EXPECT_EQ(pages.width, 595.0);
    EXPECT_EQ(pages.height, 842.0);
    EXPECT_TRUE(pages.fontsEmbedded);
    const std::string& text = pages.text[0];
    for (const char* part : {"Harbour Mastering",
                             "hello@harbour.example",
                             "MASTERING REPORT",
                             "Nov 24, 2026",
                             "Night Shift",
                             "4006381333931",
                             "Lantern Records",
                             "R. Vale",
                             "CD-DA \u2014 44.1 kHz / 16-bit",
                             "3 tracks \u00b7 total",
                             "INTEGRATED LOUDNESS",
                             "-13.2 LUFS",
                             "-0.3 dBTP",
                             "7.1 LU",
                             "EBU R128",
                             "Opening",
                             "Second Song",
                             "Closer",
                             "-14.0",
                             "-1.0",
                             "6.3",
                             "-12.5",
                             "SOURCE FILES",
                             "one.wav",
                             "96 kHz / 24-bit",
                             "two.wav",
                             "44.1 kHz / 16-bit",
                             "moved away.wav",
                             "Generated by Orvane",
                             "Page 1"})
        EXPECT_TRUE(has(text, part)) << part;
    EXPECT_LT(text.find("Harbour Mastering"), text.find("MASTERING REPORT"));
}

TEST_F(MasteringReport, unmeasuredAlbumsBareHeadsLongTitlesAndBadLogosStillMakeAReport) {
    CDProject project = album();
    project.albumTitle = std::string(300, 'W') + " end";
    for (int i = 0; i < 60; ++i)
        project.tracks.push_back(secondsTrack("Filler " + std::to_string(i), 150, 5));
    MasteringReportModel model(defaults, false);
    model.setLogoData(std::vector<std::uint8_t>{'n', 'o', 't', ' ', 'p', 'n', 'g'});
    model.setIncludeTrackNotes(false);
    project.tracks[0].note = "a note nobody asked for";
    const auto pdf = MasteringReportBuilder::pdfData(project, positionsOf(project), model, {}, std::nullopt);
    ASSERT_TRUE(pdf.has_value()) << pdf.error();
    const Pages pages = readPDF(*pdf);
    ASSERT_GE(pages.text.size(), 2u);
    const std::string& first = pages.text[0];
    EXPECT_EQ(first.rfind("MASTERING REPORT", 0), 0u); // no branding above the title
    EXPECT_TRUE(has(first, "Loudness not measured"));
    EXPECT_FALSE(has(first, "INTEGRATED LOUDNESS"));
    EXPECT_FALSE(has(first, "NOTE"));
    EXPECT_FALSE(has(first, "a note nobody"));
    // The long title ends in an ellipsis at the margin (its text stays in the PDF behind the ellipsis).
    EXPECT_LE(pages.rightmostText, 595.0 - 46.0 + 1.0);
    EXPECT_TRUE(has(pages.text[1], "MASTERING REPORT \u2014 page 2"));
    EXPECT_TRUE(has(pages.text.back(), "SOURCE FILES") ||
                has(pages.text[pages.text.size() - 2], "SOURCE FILES"));

    model.setIncludeTrackNotes(true);
    model.setIncludeSourceFiles(false);
    const auto withNotes =
        MasteringReportBuilder::pdfData(project, positionsOf(project), model, {}, std::nullopt);
    ASSERT_TRUE(withNotes.has_value());
    const Pages noted = readPDF(*withNotes);
    EXPECT_TRUE(has(noted.text[0], "NOTE"));
    for (const auto& page : noted.text)
        EXPECT_FALSE(has(page, "SOURCE FILES"));
}

TEST(MasteringReportLogo, keepsItsShapeWithinTheBox) {
    const auto wide = MasteringReportBuilder::logoBox(600, 42);
    EXPECT_DOUBLE_EQ(wide.width, 150.0);
    EXPECT_DOUBLE_EQ(wide.height, 10.5);
    const auto tall = MasteringReportBuilder::logoBox(50, 100);
    EXPECT_DOUBLE_EQ(tall.height, 42.0);
    EXPECT_DOUBLE_EQ(tall.width, 21.0);
    const auto none = MasteringReportBuilder::logoBox(0, 100);
    EXPECT_EQ(none.width, 0.0);
}

TEST_F(MasteringReport, studioDetailsOutliveTheModelButTheClientDoesNot) {
    {
        MasteringReportModel model(defaults, true);
        int changes = 0;
        model.onChange = [&] { ++changes; };
        model.setStudioName("Harbour");
        model.setStudioContact("Quay 12");
        model.setEngineer("R. Vale");
        model.setLogoData(pngOf(10, 10));
        model.setClient("Lantern");
        EXPECT_EQ(changes, 5);
    }
    DefaultsStore reread(temp.path / "defaults.json");
    MasteringReportModel next(reread, true);
    EXPECT_EQ(next.studioName(), "Harbour");
    EXPECT_EQ(next.studioContact(), "Quay 12");
    EXPECT_EQ(next.engineer(), "R. Vale");
    ASSERT_TRUE(next.logoData().has_value());
    EXPECT_EQ(*next.logoData(), pngOf(10, 10));
    EXPECT_EQ(next.client(), "");

    MasteringReportModel passing(reread, false);
    passing.setStudioName("Elsewhere");
    EXPECT_EQ(MasteringReportModel(reread, true).studioName(), "Harbour");
}

} // namespace
} // namespace orvane
