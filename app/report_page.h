// Reports as one HTML file each, without anything to fetch: tables, text and charts that can be
// zoomed and read out with scripts, and stand as static pictures without. Light and dark follow the
// reader's system.
//
//   report::Page page("vomo lf: capture.txt");
//   page.AddVerdict(passed, "all within limits");
//   page.AddHeading("Results");
//   page.AddTable({{"quantity", "value"}, {{{"Bursts"}, {"12"}}}});
//   report::Chart chart{.id = "periods", .title = "Periods", .caption = ""};
//   chart.x.label = "time (us)";
//   chart.y.label = "period (ns)";
//   chart.series.push_back(report::Gather("period", n, x_of, y_of));  // long series become short
//   chart.guides.push_back({false, 52.0, "limit", report::Ink::kRed});
//   page.AddChart(chart);
//   output_file.Write(page.Html());
//
// Charts that follow one another share a row where the window is wide enough. All text is escaped
// here; nothing given is taken as HTML.
#ifndef VOMO_APP_REPORT_PAGE_H
#define VOMO_APP_REPORT_PAGE_H

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "report_chart.h"

namespace app::report {

enum class Mark { kNone, kPass, kFail };

struct Cell {
  std::string text;
  Mark mark = Mark::kNone;
};

// The first column stands at the left, the others as `left` says.
struct Table {
  std::vector<std::string> head;
  std::vector<std::vector<Cell>> rows;
  std::vector<bool> left = {};  // of each column; missing ones are numbers and stand at the right
};

class Page {
 public:
  explicit Page(std::string title) : title_(std::move(title)) {}

  void AddHeading(std::string_view text);
  void AddText(std::string_view text);
  void AddVerdict(bool passed, std::string_view text);
  void AddTable(const Table &table);
  void AddChart(const Chart &chart);
  // Text as it stands, line by line; folded away behind its summary.
  void AddDetails(std::string_view summary, std::string_view text);
  std::string Html() const;

 private:
  void Close();  // the row of charts, if one is open

  std::string title_, body_;
  bool in_charts_ = false, in_small_ = false;
};

}  // namespace app::report

#endif
