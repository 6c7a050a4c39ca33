// The columns across a template's width in which the margin search keeps the innermost voltages.
#ifndef VOMO_EYE_COLUMN_TABLE_H
#define VOMO_EYE_COLUMN_TABLE_H

#include <vomo.h>

#include <cstdint>

#include "core/handle_table.h"

namespace vomo {

// One side of an eye: for each column the voltage nearest to the middle of the eye and the clock
// index behind it. Two arrays of ulColumnCount elements.
struct EyeSide {
  double *volts;
  uint32_t *intervals;
};

struct EyeColumns {
  EyeSide high, low;
};

enum BitClass { kClassAll, kClassTransition, kClassNonTransition };

// Kept from call to call, so that the columns are not allocated for every stage. Grows and never
// shrinks.
struct ColumnTable {
  // Columns in use, at least 1, and room.
  uint32_t ulColumnCount;
  uint32_t ulColumnCapacity;
  // By class: the column where the eye is widest open, -1 for none.
  int32_t aiBestColumn[3];
  // Abscissa of the widest opening of all bits, at which both classes are measured, unit intervals;
  // -1.0 for none.
  double dSharedX;

  // Makes room for columns of 0.004 unit intervals across the template's width. Throws
  // std::bad_alloc and leaves the table as it was.
  void Size(const VomoPassFailInfo &info);

  // The columns of one class, valid until the next Size.
  EyeColumns Of(BitClass bits);

  // Sets the columns of one class to a wide open eye without intervals, and its best column to -1.
  EyeColumns Clear(BitClass bits);

  // Six arrays each, high and low of the three classes.
  Scratch<double> volts;
  Scratch<uint32_t> intervals;
};

ColumnTable &MarginColumns();

}  // namespace vomo

#endif
