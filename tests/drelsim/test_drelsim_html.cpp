// SPDX-License-Identifier: Apache-2.0
// The page of --html: self-contained, with each scope's picture carrying both sides' VLAN maps;
// and in a real browser (headless Chromium, which ./dev setup installs; without it the browser
// tests skip, except under CI=true) the numbers the page shows against the JSON report of the
// same run, the rows filtered to the differences, and a screenshot in which the pictures'
// colours are seen.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <regex>
#include <set>
#include <zlib.h>

#include "drelsim_run.h"

using nlohmann::json;
using ::testing::HasSubstr;

namespace {

constexpr const char *kLeaf1 = "avd-single-dc-l3ls-leaf1";

class Html : public ScratchTest {
  protected:
    // The single-DC leaf pair with VLAN 12 mistyped on B: the page in page_, the JSON report of
    // the same pair returned.
    json mistyped_pair() {
        const std::string b = edited(real(kLeaf1, "dc1-leaf1b.cfg"), "b.cfg",
                                     "   vxlan vlan 12 vni 10012", "   vxlan vlan 12 vni 10013");
        page_ = dir_ + "/page.html";
        const std::string a = real(kLeaf1, "dc1-leaf1a.cfg");
        Outcome r = run({"check", a, b, "--json", "--html", page_});
        EXPECT_EQ(r.status, 1) << r.err;
        return r.report();
    }
    // Chromium's command with the options that work on this machine and a profile of its own.
    std::string chromium(const std::string &exe) const {
        return "timeout 120 " + exe +
               " --headless --no-sandbox --disable-gpu --disable-quic --no-first-run "
               "--disable-background-networking --disable-component-update --disable-sync "
               "--virtual-time-budget=3000 --user-data-dir=" +
               dir_ + "/profile ";
    }
    // The page as the browser holds it once its script has run.
    std::string dom(const std::string &exe, const std::string &fragment = "") {
        std::string out;
        EXPECT_EQ(
            shell(chromium(exe) + "--dump-dom 'file://" + page_ + fragment + "' 2>/dev/null", out),
            0);
        return out;
    }
    std::string page_;
};

// The VLANs a side would suspend in a scope, as the report lists them.
std::set<unsigned> charged_vlans(const json &peer) {
    std::set<unsigned> vlans;
    for (auto &c : peer["charged"])
        for (auto &v : c["vlans"])
            vlans.insert(v.get<unsigned>());
    for (auto &f : peer["failed_vnis"])
        for (auto &v : f["vlans"])
            vlans.insert(v.get<unsigned>());
    return vlans;
}

std::string joined(const std::set<unsigned> &vlans) {
    std::string out;
    for (unsigned v : vlans)
        out += (out.empty() ? "" : ",") + std::to_string(v);
    return out;
}

// The part of `page` from the element that starts with `head` to the next one that does.
std::map<std::string, std::string> sections(const std::string &page, const std::string &head) {
    std::map<std::string, std::string> out;
    const std::regex start(head + "\"([^\"]*)\"");
    std::vector<std::pair<size_t, std::string>> at;
    for (auto it = std::sregex_iterator(page.begin(), page.end(), start);
         it != std::sregex_iterator(); ++it)
        at.emplace_back(static_cast<size_t>(it->position()), (*it)[1]);
    for (size_t i = 0; i < at.size(); ++i)
        out[at[i].second] = page.substr(
            at[i].first, (i + 1 < at.size() ? at[i + 1].first : page.size()) - at[i].first);
    return out;
}

std::string first_match(const std::string &text, const std::string &pattern) {
    std::smatch m;
    return std::regex_search(text, m, std::regex(pattern)) ? std::string(m[1]) : "";
}

TEST_F(Html, PageLoadsNothing) {
    mistyped_pair();
    const std::string page = slurp(page_);
    for (const char *outside : {"http://", "https://", "src=", "<link", "@import", "url("})
        EXPECT_THAT(page, ::testing::Not(HasSubstr(outside))) << outside;
    EXPECT_THAT(page, ::testing::StartsWith("<!DOCTYPE html>\n"));
    EXPECT_THAT(page, HasSubstr("<style>"));
    EXPECT_THAT(page, ::testing::EndsWith("</html>\n"));
}

TEST_F(Html, PictureCarriesBothSidesMapsInTheirStates) {
    mistyped_pair();
    const auto maps = sections(slurp(page_), "<div class=\"vlanmap\" data-scope=");
    ASSERT_EQ(maps.size(), 3u);
    // Port-Channel5 carries VLANs 11-12 and 21-22: 12 is charged on both sides, with each
    // side's own VNI; the others pass, two runs of consecutive VNIs.
    const std::string data = first_match(maps.at("peer link 5 (Port-Channel5)"),
                                         "<script type=\"application/json\">([^<]*)</script>");
    const json runs = json::parse(data);
    EXPECT_EQ(runs["A"], json::parse("[[11,1,10011,1],[12,1,10012,2],[21,2,10021,1]]"));
    EXPECT_EQ(runs["B"], json::parse("[[11,1,10011,1],[12,1,10013,2],[21,2,10021,1]]"));
}

TEST_F(Html, BrowserShowsTheNumbersOfTheJsonReport) {
    DRELSIM_NEED_TOOL(exe, "chromium", "chromium");
    const json rep = mistyped_pair();
    const std::string page = dom(exe);
    ASSERT_THAT(page, HasSubstr("id=\"result\">FAIL<")) << page.substr(0, 2000);
    const auto rows = sections(page, "<tr class=\"[a-z]+\" data-scope=");
    const auto maps = sections(page, "<div class=\"vlanmap\" data-scope=");
    const json &scopes = rep["rounds"][0]["scopes"];
    ASSERT_EQ(rows.size(), scopes.size());
    for (auto &scope : scopes) {
        const std::string summary = scope["summary"];
        std::string name = summary.substr(9, 30);
        name.erase(name.find_last_not_of(' ') + 1);
        SCOPED_TRACE(name);
        const std::string &row = rows.at(name);
        // Each cell shows what the report's summary line shows.
        const std::string failed = first_match(row, "class=\"num failed\">([^<]*)<");
        const std::string charged = first_match(row, "class=\"num charged\">([^<]*)<");
        EXPECT_THAT(summary, HasSubstr(failed));
        EXPECT_THAT(summary, HasSubstr(charged));
        EXPECT_EQ(charged, std::to_string(scope["peers"]["A"]["charged"].size()) + " / " +
                               std::to_string(scope["peers"]["B"]["charged"].size()));
        EXPECT_EQ(first_match(row, "class=\"num tolerated\">([^<]*)<"),
                  std::to_string(scope["tolerated"].get<int>()));
        // The picture counts and lists what the report charges, side by side.
        const std::string &pic = maps.at(name);
        for (const char *side : {"A", "B"}) {
            const std::set<unsigned> vlans = charged_vlans(scope["peers"][side]);
            EXPECT_EQ(first_match(pic, std::string("data-side=\"") + side +
                                           "\" data-state=\"charged\">([0-9]+)<"),
                      std::to_string(vlans.size()));
            EXPECT_EQ(first_match(pic, std::string("class=\"charged-list\" data-side=\"") + side +
                                           "\" data-vlans=\"([0-9,]*)\""),
                      joined(vlans));
        }
    }
    // VLANs 11, 12, 21, 22, 3401 and 3402 map VNIs in the global scope: none absent on A.
    EXPECT_EQ(first_match(maps.at("global"), "data-side=\"A\" data-state=\"absent\">([0-9]+)<"),
              "4088");
}

TEST_F(Html, BrowserFiltersTheRowsToTheDifferences) {
    DRELSIM_NEED_TOOL(exe, "chromium", "chromium");
    const json rep = mistyped_pair();
    const auto all =
        sections(dom(exe), "<section class=\"scope [a-z]+\" id=\"r0-s[0-9]+\" data-scope=");
    const auto only = sections(dom(exe, "#differences"),
                               "<section class=\"scope [a-z]+\" id=\"r0-s[0-9]+\" data-scope=");
    for (auto &scope : rep["rounds"][0]["scopes"]) {
        size_t rows = 0, differ = 0;
        for (auto &p : scope["parameters"])
            ++rows, differ += p["differs"].get<bool>();
        std::string name = scope["summary"].get<std::string>().substr(9, 30);
        name.erase(name.find_last_not_of(' ') + 1);
        SCOPED_TRACE(name);
        EXPECT_EQ(first_match(all.at(name), "<span class=\"shown\">([0-9]+)<"),
                  std::to_string(rows));
        EXPECT_EQ(first_match(only.at(name), "<span class=\"shown\">([0-9]+)<"),
                  std::to_string(differ));
        const std::string &filtered = only.at(name);
        size_t hidden = 0;
        for (size_t at = filtered.find("data-differs=\"0\""); at != std::string::npos;
             at = filtered.find("data-differs=\"0\"", at + 1))
            hidden += filtered.substr(at, filtered.find('>', at) - at).find(" hidden") !=
                      std::string::npos;
        EXPECT_EQ(hidden, rows - differ);
    }
}

// An RGB image: pixels as 0xRRGGBB, row by row.
struct Image {
    uint32_t width = 0, height = 0;
    std::vector<uint32_t> px;
    uint32_t at(int64_t x, int64_t y) const {
        return x < 0 || y < 0 || x >= width || y >= height ? 0xFFFFFFFF : px[y * width + x];
    }
};

// The PNG image at `path` (8-bit RGB or RGBA, not interlaced, as Chromium writes it).
Image decode_png(const std::string &path) {
    const std::string png = slurp(path);
    Image img;
    auto u32 = [&](size_t at) {
        return uint32_t(uint8_t(png[at])) << 24 | uint32_t(uint8_t(png[at + 1])) << 16 |
               uint32_t(uint8_t(png[at + 2])) << 8 | uint8_t(png[at + 3]);
    };
    uint32_t channels = 0;
    std::string idat;
    for (size_t at = 8; at + 8 <= png.size();) {
        const uint32_t len = u32(at);
        const std::string type = png.substr(at + 4, 4);
        if (type == "IHDR") {
            img.width = u32(at + 8), img.height = u32(at + 12);
            EXPECT_EQ(png[at + 16], 8) << "bit depth";
            channels = png[at + 17] == 6 ? 4 : png[at + 17] == 2 ? 3 : 0;
            EXPECT_EQ(png[at + 20], 0) << "interlace";
        } else if (type == "IDAT") {
            idat += png.substr(at + 8, len);
        }
        at += 12 + len;
    }
    if (channels == 0 || img.width == 0) return ADD_FAILURE() << "not an RGB(A) PNG", img;
    const size_t stride = img.width * channels;
    std::vector<uint8_t> raw(img.height * (stride + 1));
    uLongf size = raw.size();
    EXPECT_EQ(
        uncompress(raw.data(), &size, reinterpret_cast<const Bytef *>(idat.data()), idat.size()),
        Z_OK);
    std::vector<uint8_t> prev(stride), cur(stride);
    for (uint32_t y = 0; y < img.height; ++y) {
        const uint8_t filter = raw[y * (stride + 1)];
        const uint8_t *line = &raw[y * (stride + 1) + 1];
        for (size_t x = 0; x < stride; ++x) {
            const int a = x >= channels ? cur[x - channels] : 0, b = prev[x],
                      c = x >= channels ? prev[x - channels] : 0;
            const int p = a + b - c, pa = std::abs(p - a), pb = std::abs(p - b),
                      pc = std::abs(p - c);
            const int pred = filter == 1   ? a
                             : filter == 2 ? b
                             : filter == 3 ? (a + b) / 2
                             : filter == 4 ? (pa <= pb && pa <= pc ? a
                                              : pb <= pc           ? b
                                                                   : c)
                                           : 0;
            cur[x] = static_cast<uint8_t>(line[x] + pred);
        }
        for (size_t x = 0; x < stride; x += channels)
            img.px.push_back(uint32_t(cur[x]) << 16 | uint32_t(cur[x + 1]) << 8 | cur[x + 2]);
        std::swap(prev, cur);
    }
    return img;
}

// Cells of the VLAN pictures in `colour`: squares of 6 by 6 pixels of it with none of it in
// the line of pixels around them (a picture's cell is 6 pixels and a gap; a legend's swatch or
// a badge is larger).
size_t cells(const Image &img, uint32_t colour) {
    size_t n = 0;
    for (int64_t y = 0; y + 6 <= img.height; ++y)
        for (int64_t x = 0; x + 6 <= img.width; ++x) {
            bool square = true;
            for (int64_t k = -1; k <= 6 && square; ++k)
                for (int64_t l = -1; l <= 6 && square; ++l) {
                    const bool inside = k >= 0 && k < 6 && l >= 0 && l < 6;
                    square = (img.at(x + l, y + k) == colour) == inside;
                }
            n += square;
        }
    return n;
}

TEST_F(Html, BrowserScreenshotShowsThePicture) {
    DRELSIM_NEED_TOOL(exe, "chromium", "chromium");
    mistyped_pair();
    const std::string shot = dir_ + "/shot.png";
    std::string out;
    ASSERT_EQ(shell(chromium(exe) + "--window-size=1280,1400 --screenshot=" + shot + " 'file://" +
                        page_ + "' 2>/dev/null",
                    out),
              0)
        << out;
    const Image img = decode_png(shot);
    ASSERT_EQ(img.width, 1280u);
    // The global scope's picture comes first and is whole in the window: VLAN 12 charged on A
    // and on B, VLANs 11, 21, 22, 3401 and 3402 passing on both, the rest mapping nothing.
    EXPECT_EQ(cells(img, 0xd62728), 2u);
    EXPECT_EQ(cells(img, 0x2e9e4f), 10u);
    EXPECT_GE(cells(img, 0xe6e8eb), 2u * 4000u);
}

} // namespace
