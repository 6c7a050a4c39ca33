#include "primitives/dft_complex.h"

namespace vomo {

template <class Real>
ComplexDft<Real>::ComplexDft(int64_t length) : length_(length) {
  const DftChoice choice = ChooseComplexDft<Real>(length);
  if (choice.method == DftMethod::kShort) {
    method_.template emplace<ShortDft<Real>>(length);
  } else if (choice.method == DftMethod::kPlane) {
    method_.template emplace<Plane<Real>>(choice.shape);
  } else {
    method_.template emplace<Chirp<Real>>(length, length, length);
  }
}

template <class Real>
void ComplexDft<Real>::Run(const Complex *src, Complex *dst, double sign, double scale) {
  const auto *in = reinterpret_cast<const Real *>(src);
  auto *out = reinterpret_cast<Real *>(dst);
  if (auto *one = std::get_if<ShortDft<Real>>(&method_)) {
    RunShort(*one, in, out, sign, scale);
  } else if (auto *plane = std::get_if<Plane<Real>>(&method_)) {
    RunPlane(plane, in, out, sign, scale);
  } else {
    std::get<Chirp<Real>>(method_).Run(src, length_, dst, length_, sign, scale);
  }
}

// Only forward transforms are planned: the inverse is the conjugate of the conjugate's forward
// transform.
template <class Real>
void ComplexDft<Real>::RunShort(const ShortDft<Real> &transform, const Real *src, Real *dst,
                                double sign, double scale) const {
  const auto copy = ActiveDftKernels<Real>().copy;
  copy(src, 2, 1, sign, transform.values(), 2, length_);
  transform.Transform();
  copy(transform.values(), 2, scale, sign * scale, dst, 2, length_);
}

// The rows are written out as the columns of the result, some neighbours at a time.
template <class Real>
void ComplexDft<Real>::RunPlane(Plane<Real> *plane, const Real *src, Real *dst, double sign,
                                double scale) const {
  const auto copy = ActiveDftKernels<Real>().copy;
  const int64_t rows = plane->rows(), columns = plane->columns();
  const auto all_rows = [&](int64_t) { return DftSpan(0, rows); };
  const auto all_columns = [&](int64_t) { return DftSpan(0, columns); };
  plane->ColumnsIn([&](int64_t column) {
    ForGroups(plane->LanesFrom(column), rows, all_rows,
              [&](int64_t lane, int64_t row, int64_t count) {
                copy(src + 2 * (row * columns + column + lane), 2 * columns, 1, sign,
                     plane->Lane(lane) + 2 * row, 2, count);
              });
  });
  for (int64_t first_row = 0; first_row < rows; first_row += plane->kLanes) {
    const int64_t block = std::min(plane->kLanes, rows - first_row);
    for (int64_t i = 0; i < block; ++i) plane->TransformRow(plane->Row(first_row + i));
    ForGroups(block, columns, all_columns, [&](int64_t i, int64_t column, int64_t count) {
      copy(plane->Row(first_row + i) + 2 * column, 2, scale, sign * scale,
           dst + 2 * (column * rows + first_row + i), 2 * rows, count);
    });
  }
}

template class ComplexDft<float>;
template class ComplexDft<double>;

}  // namespace vomo
