// The two ways of measuring how far an eye stands from its template.
#ifndef VOMO_EYE_MARGINS_H
#define VOMO_EYE_MARGINS_H

#include <vomo.h>

#include <cstdint>

#include "eye/column_table.h"
#include "eye/diagram_points.h"
#include "eye/level_histogram.h"

namespace vomo {

// Each reads the points of a diagram and writes sMargins; the counts in it are counted on.

// The voltages at which the traces cross the template's horizontal centre.
void VomoFindMarginsAtCenter(const DiagramPoints &points, const VomoPassFailInfo &sInfo,
                             VomoTemplateMargins &sMargins);

// The innermost voltages of all columns across the template go to the columns, which have been
// cleared, and the one where they lie furthest apart to iBestColumn; the levels there come from a
// histogram. A diagram without points changes nothing. Throws std::bad_alloc.
void VomoFindMarginsByRange(const DiagramPoints &points, const VomoPassFailInfo &sInfo,
                            VomoTemplateMargins &sMargins, const EyeColumns &sColumns,
                            uint32_t ulColumnCount, float fVoltageHistBinSize,
                            const LevelTrim &sTrim, int32_t &iBestColumn);

}  // namespace vomo

#endif
