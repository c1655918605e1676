// The loops that stored samples go through: plain, over contiguous memory, and such that the
// compiler makes vector instructions of them. Each element goes through the steps that its comment
// names, in that order and in the precision of Real, never fused into one rounding, so a result that
// is a number is the same bit for bit however a request is cut into pieces and whatever the
// processor.
//
// Count is a stored integer (8, 16 or 32 bits), Real a Single or Double. `flip` is 0, or the top
// bit of Count where stored counts are unsigned. Source and target are the same or don't overlap.
#pragma once

#include <lmimport/Types.h>

#include <cstddef>

namespace lmimport {

/// to[i] = from[i * step]
template <class T>
void DownSample(const T* from, std::size_t step, std::size_t n, T* to);

/// to[i] = from[i] xor flip, held at the limits of Output, which is Integer or Long
template <class Count, class Output>
void HoldCounts(const Count* from, Count flip, std::size_t n, Output* to);

/// to[i] = (from[i] xor flip) / scale, + offset unless that is 0
template <class Count, class Real>
void CountsToValues(const Count* from, Count flip, std::size_t n, Real scale, Real offset,
                    Real* to);

/// to[i] = (from[i] xor flip) / scales[i] + offsets[i]
template <class Count, class Real>
void CountsToValues(const Count* from, Count flip, std::size_t n, const Real* scales,
                    const Real* offsets, Real* to);

/// to[i] = (from[i] - offset) * scale, rounded to nearest, ties to even, held at the limits of
/// Output; NaN gives 0
template <class Real, class Output>
void ValuesToCounts(const Real* from, std::size_t n, Real scale, Real offset, Output* to);

/// The same with scales[i] and offsets[i].
template <class Real, class Output>
void ValuesToCounts(const Real* from, std::size_t n, const Real* scales, const Real* offsets,
                    Output* to);

/// to[i] = from[i], widened or narrowed
void ConvertReals(const Single* from, std::size_t n, Double* to);
void ConvertReals(const Double* from, std::size_t n, Single* to);

/// Lowers `smallest` and raises `largest` to the extremes of from[i] xor flip; NaN is passed over,
/// and real numbers have no flip.
template <class T>
void FindExtremes(const T* from, T flip, std::size_t n, T& smallest, T& largest);

}  // namespace lmimport
