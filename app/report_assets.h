// The files of the report's folder, carried inside the program.
#ifndef VOMO_APP_REPORT_ASSETS_H
#define VOMO_APP_REPORT_ASSETS_H

namespace app::report {

extern const char *const kChartScript;  // the charting library
extern const char *const kChartStyle;
extern const char *const kPageScript;  // this program's own
extern const char *const kPageStyle;

}  // namespace app::report

#endif
