// Each conversion loop by itself, on as many samples as go through it at a time.
#include <benchmark/benchmark.h>

#include <vector>

#include "extract/Routes.h"
#include "extract/VectorOps.h"

namespace {

using namespace lmimport;

template <class Stored, class Output, class Loop>
void Measure(benchmark::State& state, std::size_t stride, Loop loop) {
  std::vector<Stored> from(BatchSize * stride);
  for (std::size_t i = 0; i < from.size(); ++i) from[i] = static_cast<Stored>(i % 113);
  std::vector<Output> to(BatchSize);
  for (auto _ : state) {
    loop(from.data(), to.data());
    benchmark::DoNotOptimize(to.data());
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(BatchSize));
}

template <class T>
void BenchDownSample(benchmark::State& state) {
  const auto step = static_cast<std::size_t>(state.range(0));
  Measure<T, T>(state, step, [=](const T* from, T* to) { DownSample(from, step, BatchSize, to); });
}
BENCHMARK(BenchDownSample<Integer>)->Arg(1)->Arg(2)->Arg(3)->Arg(8)->Arg(32);
BENCHMARK(BenchDownSample<Long>)->Arg(1)->Arg(2)->Arg(3)->Arg(8)->Arg(32);
BENCHMARK(BenchDownSample<Single>)->Arg(1)->Arg(2)->Arg(3)->Arg(8)->Arg(32);
BENCHMARK(BenchDownSample<Double>)->Arg(1)->Arg(2)->Arg(3)->Arg(8)->Arg(32);

template <class Count>
void BenchHoldCounts(benchmark::State& state) {
  Measure<Count, Integer>(
      state, 1, [](const Count* from, Integer* to) { HoldCounts(from, Count{0}, BatchSize, to); });
}
BENCHMARK(BenchHoldCounts<std::int8_t>);
BENCHMARK(BenchHoldCounts<Integer>);
BENCHMARK(BenchHoldCounts<Long>);

template <class Count, class Real>
void BenchCountsToValues(benchmark::State& state) {
  const auto offset = static_cast<Real>(state.range(0));
  Measure<Count, Real>(state, 1, [=](const Count* from, Real* to) {
    CountsToValues(from, Count{0}, BatchSize, Real{3}, offset, to);
  });
}
BENCHMARK(BenchCountsToValues<std::int8_t, Double>)->ArgName("offset")->Arg(1);
BENCHMARK(BenchCountsToValues<Integer, Single>)->ArgName("offset")->Arg(0)->Arg(1);
BENCHMARK(BenchCountsToValues<Integer, Double>)->ArgName("offset")->Arg(0)->Arg(1);
BENCHMARK(BenchCountsToValues<Long, Double>)->ArgName("offset")->Arg(1);

template <class Real>
void BenchValuesToCounts(benchmark::State& state) {
  Measure<Real, Integer>(state, 1, [](const Real* from, Integer* to) {
    ValuesToCounts(from, BatchSize, Real{3}, Real{1}, to);
  });
}
BENCHMARK(BenchValuesToCounts<Single>);
BENCHMARK(BenchValuesToCounts<Double>);

// Of whole frames: a scale and an offset for each sample.
template <class From, class To, class Real, class Convert>
void MeasureFrames(benchmark::State& state, Convert convert) {
  const std::vector<Real> scales(BatchSize, 3);
  const std::vector<Real> offsets(BatchSize, 1);
  Measure<From, To>(state, 1, [&](const From* from, To* to) {
    convert(from, scales.data(), offsets.data(), to);
  });
}

template <class Count, class Real>
void BenchCountsToValuesOfFrames(benchmark::State& state) {
  MeasureFrames<Count, Real, Real>(
      state, [](const Count* from, const Real* scales, const Real* offsets, Real* to) {
        CountsToValues(from, Count{0}, BatchSize, scales, offsets, to);
      });
}
BENCHMARK(BenchCountsToValuesOfFrames<std::int8_t, Double>);
BENCHMARK(BenchCountsToValuesOfFrames<Integer, Single>);
BENCHMARK(BenchCountsToValuesOfFrames<Integer, Double>);
BENCHMARK(BenchCountsToValuesOfFrames<Long, Double>);

template <class Real>
void BenchValuesToCountsOfFrames(benchmark::State& state) {
  MeasureFrames<Real, Integer, Real>(
      state, [](const Real* from, const Real* scales, const Real* offsets, Integer* to) {
        ValuesToCounts(from, BatchSize, scales, offsets, to);
      });
}
BENCHMARK(BenchValuesToCountsOfFrames<Single>);
BENCHMARK(BenchValuesToCountsOfFrames<Double>);

template <class From, class To>
void BenchConvertReals(benchmark::State& state) {
  Measure<From, To>(state, 1, [](const From* from, To* to) { ConvertReals(from, BatchSize, to); });
}
BENCHMARK(BenchConvertReals<Single, Double>);
BENCHMARK(BenchConvertReals<Double, Single>);

}  // namespace
