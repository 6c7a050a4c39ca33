// Reports: what stands in the page, and how a browser shows it.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <map>
#include <nlohmann/json.hpp>
#include <regex>

#include "browser.h"
#include "report_page.h"

namespace {

using namespace app_test;
using Json = nlohmann::json;

size_t Count(const std::string &text, const std::string &what) {
  size_t count = 0;
  for (size_t at = 0; (at = text.find(what, at)) != std::string::npos; at += what.size()) ++count;
  return count;
}

TEST(Gather, KeepsTheExtremesOfEveryColumnAtTheirPlaces) {
  constexpr size_t kCount = 1'000'000;
  const auto y_of = [](size_t i) {
    if (i == 123'456) return 50.0;
    if (i == 777'777) return -40.0;
    if (i == 5) return std::numeric_limits<double>::quiet_NaN();
    return std::sin(static_cast<double>(i));
  };
  for (const bool logarithmic : {false, true}) {
    const app::report::Series series = app::report::Gather(
        "", kCount, [](size_t i) { return static_cast<double>(i); }, y_of, logarithmic);
    EXPECT_LE(series.x.size(), 2 * app::report::kMostColumns + 2);
    EXPECT_GT(series.x.size(), app::report::kMostColumns / 2);
    std::map<double, double> found;
    for (size_t i = 0; i < series.x.size(); ++i) {
      ASSERT_TRUE(i == 0 || series.x[i] > series.x[i - 1]);
      found[series.y[i]] = series.x[i];
    }
    EXPECT_EQ(found[50.0], 123'456) << logarithmic;
    EXPECT_EQ(found[-40.0], 777'777) << logarithmic;
  }
}

// Names of files are other people's text.
TEST(Page, TakesNoTextForMarkup) {
  const std::string text = "</script><b>\"'&\x01 \xff";
  app::report::Page page(text);
  page.AddHeading(text);
  page.AddVerdict(false, text);
  page.AddTable({{text}, {{{text}}}});
  app::report::Chart chart{};
  chart.id = "c";
  chart.title = chart.caption = chart.x.label = chart.y.label = text;
  chart.series.push_back({text, {0, 1}, {0, 1}});
  chart.guides.push_back({true, 0.5, text});
  chart.outlines.push_back({{{0, 0}, {1, 1}}, false, text});
  page.AddChart(chart);
  page.AddDetails(text, text);
  const std::string html = page.Html();
  EXPECT_EQ(Count(html, "<b>"), 0u);
  // The chart's data and the two scripts of every page.
  EXPECT_EQ(Count(html, "</script>"), 3u);
}

// Of the page as written: the data of a chart.
Json ChartData(const std::string &html, const std::string &id) {
  const size_t figure = html.find("<figure id=\"" + id + "\"");
  if (figure == std::string::npos) return nullptr;
  const std::string open = "<script type=\"application/json\">";
  const size_t begin = html.find(open, figure) + open.size();
  return Json::parse(html.substr(begin, html.find("</script>", begin) - begin));
}

const Json &SeriesOf(const Json &chart, const std::string &name) {
  for (const Json &series : chart["series"]) {
    if (series["name"] == name) return series;
  }
  ADD_FAILURE() << name;
  return chart;
}

class Report : public Program {
 protected:
  // 30,000 UI at 8 Gb/s with 1 ps of random and 4 ps of sinusoidal jitter.
  void MakeReport(std::vector<std::string> more = {}, int exit_code = 0) {
    MakeCapture("a.txt", {"--sj-amplitude", "4e-12", "--sj-frequency", "50e6"});
    std::vector<std::string> arguments = {"measure",  Path("a.txt"), "--rate", "8e9",
                                          "--spui",   "10",          "--json", Path("a.json"),
                                          "--report", Path("a.html")};
    arguments.insert(arguments.end(), more.begin(), more.end());
    const Outcome outcome = Run(arguments);
    ASSERT_EQ(outcome.exit_code, exit_code) << outcome.err << outcome.out;
    html_ = Contents(Path("a.html"));
    result_ = Json::parse(Contents(Path("a.json")));
  }

  std::string html_;
  Json result_;
};

TEST_F(Report, ChartsHoldTheCapturesNumbers) {
  MakeReport();
  const Json &results = result_["results"];
  EXPECT_NE(html_.find(result_["captures"][0]["sha256"]), std::string::npos);
  EXPECT_EQ(html_.find("http://"), html_.find("http://www.w3.org"));  // nothing to fetch
  EXPECT_EQ(html_.find("src=\"http"), std::string::npos);
  EXPECT_LT(html_.size(), 2'000'000u);

  // The sinusoid's line in the raw spectrum. Between two bins it may lose up to 36 % (a rectangular
  // window), and the interpolated edges of runs a percent or so.
  const Json spectrum = ChartData(html_, "spectrum");
  const Json &raw = SeriesOf(spectrum, "raw");
  size_t line = 0;
  for (size_t i = 0; i < raw["y"].size(); ++i) {
    if (raw["y"][i] > raw["y"][line]) line = i;
  }
  // Bins are 8 GHz / 30,000 apart.
  EXPECT_NEAR(raw["x"][line].get<double>(), 50, 0.3);
  EXPECT_GT(raw["y"][line].get<double>(), 0.62 * 4);
  EXPECT_LT(raw["y"][line].get<double>(), 1.01 * 4);

  const Json histogram = ChartData(html_, "histogram");
  double sum = 0;
  for (const Json &share : histogram["series"][0]["y"]) sum += share.get<double>();
  EXPECT_NEAR(sum, 1, 1e-3);  // six digits of each of a few hundred bins

  // The fitted line falls by 1 in each Rj and starts at the Dirac.
  const Json q_scale = ChartData(html_, "q-scale");
  const Json &fit = SeriesOf(q_scale, "right line");
  const double rj_ps = results["dRjRMS"].get<double>() * 1e12;
  const double dirac_ps = results["dDualDiracRight"].get<double>() * 1e12;
  for (size_t i = 0; i < fit["x"].size(); ++i) {
    EXPECT_NEAR(fit["y"][i].get<double>(), -(fit["x"][i].get<double>() - dirac_ps) / rj_ps, 1e-3);
  }

  // At the target the bathtub is open by a UI less Tj.
  const Json opening = ChartData(html_, "bathtub")["outlines"][0]["points"];
  EXPECT_NEAR((opening[1][0].get<double>() - opening[0][0].get<double>()) *
                  results["dUnitInterval"].get<double>(),
              results["dUnitInterval"].get<double>() - results["dTjPeakPeak"].get<double>(), 1e-15);

  // The filtered jitter reaches from its least to its greatest value.
  const Json worst = ChartData(html_, "worst-1");
  EXPECT_FALSE(worst.is_null());
  EXPECT_EQ(result_["eye"]["transition"]["template_hits"], 0);
  // 400 mV above a template of 150 mV: the noise is on the edges alone.
  const Json eye = ChartData(html_, "eye-transition");
  EXPECT_NE(eye.dump().find("upper margin 250.0 mV"), std::string::npos);
}

TEST_F(Report, ABrowserShowsItAll) {
  MakeReport();
  Browser browser(folder_);
  const std::string dom = browser.Dom(Path("a.html"));
  EXPECT_EQ(browser.Console(), "");
  const size_t figures = Count(html_, "<figure");
  EXPECT_GE(figures, 14u);
  EXPECT_NE(dom.find("data-charts=\"" + std::to_string(figures) + "\""), std::string::npos);
  EXPECT_EQ(Count(dom, "<canvas"), figures);
  // Only the eyes have a picture and no points.
  EXPECT_EQ(Count(dom, "data-points="), figures);
  EXPECT_EQ(Count(dom, "data-points=\"0\""), 3u);
  for (const char *text : {"Total jitter Tj", "SHA-256", "first-order high pass at 4.80 MHz"}) {
    EXPECT_NE(dom.find(text), std::string::npos) << text;
  }
}

// Moves, drags and double clicks as a reader does, and keeps what stood under the charts.
constexpr const char *kReader =
    R"html(<script>addEventListener('load', () => setTimeout(async () => {
  const read = [];
  const over = (id) => document.querySelector(`#${id} .u-over`);
  const send = (id, type, x, y) => new Promise((done) => {
    const box = over(id).getBoundingClientRect();
    over(id).dispatchEvent(new MouseEvent(type, {
      bubbles: true, button: 0, movementX: 5,
      clientX: box.left + x * box.width, clientY: box.top + y * box.height}));
    setTimeout(done, 50);
  });
  const look = async (id, x, y) => {
    await send(id, 'mousemove', x, y);
    read.push(document.querySelector(`#${id} output`).textContent);
  };
  await look('histogram', 0.25, 0.25);
  await send('histogram', 'mousedown', 0.2, 0.2);
  await send('histogram', 'mousemove', 0.6, 0.7);
  await send('histogram', 'mouseup', 0.6, 0.7);
  await look('histogram', 0.25, 0.25);
  await send('histogram', 'dblclick', 0.25, 0.25);
  await look('histogram', 0.25, 0.25);
  await send('spectrum', 'mousedown', 0.31, 0.27);
  await send('spectrum', 'mousemove', 0.83, 0.71);
  await send('spectrum', 'mouseup', 0.83, 0.71);
  await look('eye-all', 0.5, 0.5);
  await look('eye-all', 0.25, 0.5);
  document.documentElement.dataset.read = read.join('|') + '|';
}, 500));</script>)html";

TEST_F(Report, ZoomsAndReadsOut) {
  MakeReport();
  std::ofstream(Path("read.html")) << html_ << kReader;
  Browser browser(folder_);
  const std::string dom = browser.Dom(Path("read.html"));
  EXPECT_EQ(browser.Console(), "");
  const std::string mark = "data-read=\"";
  const size_t begin = dom.find(mark);
  ASSERT_NE(begin, std::string::npos);
  std::stringstream text(dom.substr(begin + mark.size()));
  std::vector<std::string> read(5);
  for (std::string &line : read) std::getline(text, line, '|');
  EXPECT_NE(read[0].find("jitter (ps): -"), std::string::npos) << read[0];
  EXPECT_NE(read[1], read[0]);  // zoomed in: the same place of the window is another value
  EXPECT_EQ(read[2], read[0]);  // and out again
  // Nothing in the middle of the bit at 0 V; all edges cross at 0 UI, within some columns.
  ASSERT_EQ(read[3].substr(0, 4), "UI: ");
  EXPECT_NEAR(std::stod(read[3].substr(4)), 0.5, 0.005);  // some pixels of about 500 to a UI
  EXPECT_NE(read[3].find("no hits"), std::string::npos) << read[3];
  EXPECT_NE(read[4].find("hits: about "), std::string::npos) << read[4];
}

// Without scripts every chart is there as a picture.
TEST_F(Report, StandsWithoutScripts) {
  MakeReport();
  const size_t figures = Count(html_, "<figure");
  EXPECT_EQ(Count(html_, "<svg"), figures);
  EXPECT_EQ(Count(html_, "<image "), 3u);
  for (size_t at = 0; (at = html_.find("<svg", at)) != std::string::npos; ++at) {
    const std::string svg = html_.substr(at, html_.find("</svg>", at) - at);
    EXPECT_GT(svg.size(), 1000u) << svg;
    // A coordinate that is no number, in a path or in an attribute.
    EXPECT_FALSE(std::regex_search(svg, std::regex("[\"MLHV ]-?(nan|inf)[\" MLHV]")));
  }
}

// The layout, as far as pixels tell: a page of the theme's colour with panels on it that end before
// its right margin, and cells of the eye in the colours of the map.
TEST_F(Report, LooksRightNarrowAndWideLightAndDark) {
  MakeReport();
  Browser browser(folder_);
  for (const View &view : {View{500, 2600, false}, View{1400, 2600, true}}) {
    const Picture picture(browser.Screenshot(Path("a.html"), view));
    ASSERT_EQ(picture.width(), view.width);
    ASSERT_EQ(picture.height(), view.height);
    const uint32_t paper = view.dark ? 0x14171a : 0xffffff, panel = view.dark ? 0x1b1f23 : 0xf7f8f9;
    int panels = 0, cells = 0, beyond = 0;
    for (int y = 0; y < view.height; ++y) {
      beyond += picture.At(view.width - 5, y) != paper;
      for (int x = 0; x < view.width; ++x) {
        const uint32_t pixel = picture.At(x, y);
        panels += pixel == panel;
        const uint32_t red = pixel >> 16, green = pixel >> 8 & 255, blue = pixel & 255;
        cells += green > 150 && red < green - 40 && blue < green - 40;  // the map's upper half
      }
    }
    EXPECT_EQ(picture.At(2, 2), paper);
    EXPECT_EQ(beyond, 0) << view.width;
    EXPECT_GT(panels, view.width * view.height / 8) << view.width;
    EXPECT_GT(cells, 1000) << view.width;
  }
}

TEST_F(Report, ViolationsFailInTextJsonAndPage) {
  // The template's top lies above the signal's 400 mV, and so does the signal over the rail.
  MakeReport({"--set", "sTransTemplate.afYArray=[0,0.5,0.5,0,-0.5,-0.5]", "--set",
              "fNonTransitionHighVoltageRail=0.3"},
             1);
  EXPECT_EQ(result_["within_limits"], false);
  // The template's flat part is 0.35 UI wide and its sides 0.15 UI each: at the signal's 400 mV,
  // four fifths of its height, it spans 0.35 + 2 * 0.15 / 5 = 0.41 UI, all of it behind the edge.
  // 40 points lie in each UI, so the share is known to 1/40.
  const Json &eye = result_["eye"];
  EXPECT_NEAR(eye["transition"]["hit_ratio"].get<double>(), 0.41, 0.026);
  EXPECT_EQ(eye["non_transition"]["template_hits"], 0);
  std::map<std::string, Json> rows;
  for (const Json &row : result_["rows"]) rows[row["quantity"]] = row;
  EXPECT_EQ(rows["Template hits, transition"]["passed"], false);
  EXPECT_EQ(rows["Template hits, non-transition"]["passed"], true);
  EXPECT_EQ(rows["Upper margin, transition"]["passed"], false);
  EXPECT_NEAR(rows["Upper margin, transition"]["value"].get<double>(), -0.1, 1e-6);
  EXPECT_EQ(rows["Upper margin, non-transition"]["passed"], true);
  EXPECT_EQ(rows["Rail violations, non-transition"]["passed"], false);
  EXPECT_EQ(rows["Rail violations, transition"]["passed"], true);
  EXPECT_NE(html_.find("<b class=\"fail\">FAIL</b> outside its limit: "), std::string::npos);

  const Outcome outcome = Run({"eye", Path("a.txt"), "--rate", "8e9", "--spui", "10", "--png",
                               Path("a.png"), "--set", "fNonTransitionHighVoltageRail=0.3"});
  EXPECT_EQ(outcome.exit_code, 1);
  EXPECT_NE(outcome.out.find("Rail violations, non-transition"), std::string::npos);
}

}  // namespace
