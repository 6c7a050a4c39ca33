#include "report_page.h"

#include <fmt/format.h>
#include <vomo.h>

#include "report_assets.h"

namespace app::report {
namespace {

std::string Legend(const Chart &chart) {
  std::string items;
  const auto add = [&](const std::string &name, Ink ink, bool dashed) {
    if (name.empty()) return;
    items += fmt::format(R"(<li><i class="key ink{}{}"></i>{}</li>)", static_cast<int>(ink),
                         dashed ? " dashed" : "", Escaped(name));
  };
  for (const Series &series : chart.series) {
    add(series.name, series.ink, series.style == Style::kDashed);
  }
  for (const Outline &outline : chart.outlines) add(outline.name, outline.ink, false);
  return items.empty() ? "" : fmt::format("<ul class=\"legend\">{}</ul>", items);
}

// The colours of a backdrop and what they stand for.
std::string ColourScale(const Backdrop &backdrop) {
  std::string stops;
  for (size_t i = 0; i < backdrop.ramp.size(); i += backdrop.ramp.size() / 16) {
    stops += fmt::format("{}, ", backdrop.ramp[i]);
  }
  return fmt::format(
      R"(<div class="scale"><i class="none"></i> none <span>{:.3g}</span>)"
      R"html(<i class="ramp" style="background:linear-gradient(to right,{}{})"></i>)html"
      R"(<span>{:.3g} {}</span></div>)",
      backdrop.low, stops, backdrop.ramp.back(), backdrop.high, Escaped(backdrop.unit));
}

}  // namespace

void Page::Close() {
  if (in_charts_) body_ += "</div>\n";
  in_charts_ = false;
}

void Page::AddHeading(std::string_view text) {
  Close();
  body_ += fmt::format("<h2>{}</h2>\n", Escaped(text));
}

void Page::AddText(std::string_view text) {
  Close();
  body_ += fmt::format("<p>{}</p>\n", Escaped(text));
}

void Page::AddVerdict(bool passed, std::string_view text) {
  Close();
  body_ += fmt::format("<p class=\"verdict {0}\"><b class=\"{0}\">{1}</b> {2}</p>\n",
                       passed ? "pass" : "fail", passed ? "PASS" : "FAIL", Escaped(text));
}

void Page::AddTable(const Table &table) {
  Close();
  const auto side = [&](size_t column) {
    const bool left = column == 0 || (column < table.left.size() && table.left[column]);
    return left ? "" : " class=\"number\"";
  };
  body_ += "<div class=\"table\"><table><thead><tr>";
  for (size_t c = 0; c < table.head.size(); ++c) {
    body_ += fmt::format("<th{}>{}</th>", side(c), Escaped(table.head[c]));
  }
  body_ += "</tr></thead><tbody>\n";
  for (const auto &row : table.rows) {
    body_ += "<tr>";
    for (size_t c = 0; c < row.size(); ++c) {
      const std::string text = Escaped(row[c].text);
      body_ += row[c].mark == Mark::kNone
                   ? fmt::format("<td{}>{}</td>", side(c), text)
                   : fmt::format("<td><b class=\"{}\">{}</b></td>",
                                 row[c].mark == Mark::kPass ? "pass" : "fail", text);
    }
    body_ += "</tr>\n";
  }
  body_ += "</tbody></table></div>\n";
}

void Page::AddChart(const Chart &chart) {
  const bool small = chart.size == Size::kSmall;
  if (!in_charts_ || small != in_small_) {
    Close();
    body_ += fmt::format("<div class=\"charts{}\">\n", small ? " small" : "");
    in_charts_ = true;
    in_small_ = small;
  }
  body_ += fmt::format(
      "<figure id=\"{}\"{}><h3>{}</h3><div class=\"plot\">{}</div>{}{}<output></output>",
      Escaped(chart.id), chart.size == Size::kWide ? " class=\"wide\"" : "", Escaped(chart.title),
      Svg(chart), Legend(chart), chart.backdrop ? ColourScale(*chart.backdrop) : "");
  if (!chart.caption.empty()) {
    body_ += fmt::format("<figcaption>{}</figcaption>", Escaped(chart.caption));
  }
  body_ +=
      fmt::format("<script type=\"application/json\">{}</script></figure>\n", ChartJson(chart));
}

void Page::AddDetails(std::string_view summary, std::string_view text) {
  Close();
  body_ += fmt::format("<details><summary>{}</summary><pre>{}</pre></details>\n", Escaped(summary),
                       Escaped(text));
}

std::string Page::Html() const {
  // The policy lets the page run what is in it and fetch nothing.
  return fmt::format(
      "<!DOCTYPE html>\n<html lang=\"en\"><head><meta charset=\"utf-8\">\n"
      "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; img-src data:; "
      "style-src 'unsafe-inline'; script-src 'unsafe-inline'\">\n"
      "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
      "<meta name=\"color-scheme\" content=\"light dark\">\n"
      "<meta name=\"generator\" content=\"vomo {}\">\n"
      "<title>{}</title>\n<style>{}\n{}</style></head>\n<body><main><h1>{}</h1>\n{}{}</main>\n"
      "<script>{}</script>\n<script>{}</script></body></html>\n",
      VOMO_VERSION, Escaped(title_), kChartStyle, kPageStyle, Escaped(title_), body_,
      in_charts_ ? "</div>" : "", kChartScript, kPageScript);
}

}  // namespace app::report
