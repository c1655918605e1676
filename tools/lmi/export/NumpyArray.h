// The header of NumPy's array format, as NumPy's documentation publishes it (numpy.lib.format):
//
//   offset  type      field
//        0  6 bytes   93 "NUMPY"
//        6  2 bytes   version 1, 0
//        8  uint16    length of the text
//       10  text      {'descr': '<f8', 'fortran_order': False, 'shape': (3, 2), }, blanks and a
//                     line feed up to a multiple of 64; then the samples, frame by frame
#pragma once

#include <concepts>
#include <cstdint>
#include <string>
#include <vector>

namespace lmi {

using NumpyShape = std::vector<std::int64_t>;  // empty: one number, no list

template <class T>
std::string NumpyTypeOf(T) {
  return (std::integral<T> ? "<i" : "<f") + std::to_string(sizeof(T));
}

std::string NumpyHeader(const std::string& type, const NumpyShape& shape);

}  // namespace lmi
