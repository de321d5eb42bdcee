// Rendering cost of the date and time formats beside one ICU formatter of the same pattern
// made once and reused, and beside making the formatter and calendar for every value.
//
// Each benchmark renders the same spread of instants, one per iteration; items per second is
// values per second.
#include <benchmark/benchmark.h>
#include <unicode/gregocal.h>
#include <unicode/locid.h>
#include <unicode/smpdtfmt.h>
#include <unicode/timezone.h>
#include <unicode/unistr.h>

#include <memory>
#include <string>
#include <vector>

#include "cfmeta/field/cfdatum.h"
#include "cfmeta/format/cfdateformat.h"
#include "cfmeta/format/cftimeformat.h"

namespace {

using Sep = CFFormat::UnitsSeparator;

// Seconds from 1970-01-01 over roughly 1900 to 2100, with fractions of a second.
const std::vector<double>& Seconds() {
  static const std::vector<double> values = [] {
    std::vector<double> out;
    for (int i = 0; i < 1024; ++i) {
      out.push_back(-2.2e9 + 6.3e9 * ((i * 397) % 1024) / 1024.0 + 0.01 * (i % 100));
    }
    return out;
  }();
  return values;
}

// Durations from under a second to about 40 days.
const std::vector<double>& Durations() {
  static const std::vector<double> values = [] {
    std::vector<double> out;
    for (int i = 0; i < 1024; ++i) out.push_back(3.5e6 * ((i * 397) % 1024) / 1024.0 + 0.37);
    return out;
  }();
  return values;
}

void RenderAll(benchmark::State& state, const CFFormat& format, const std::vector<double>& values,
               CFFormat::ValueUnits units) {
  const std::vector<CFDatum> data(values.begin(), values.end());
  std::string out;
  size_t i = 0;
  for (auto _ : state) {
    format.Format(data[i], units, out);
    benchmark::DoNotOptimize(out.data());
    if (++i == data.size()) i = 0;
  }
  state.SetItemsProcessed(state.iterations());
}

// One US formatter of `pattern` on a GMT calendar, made once; `offset` milliseconds are
// added to each instant, as the duration style does.
void ReusedFormatter(benchmark::State& state, const char* pattern,
                     const std::vector<double>& values, double offset) {
  UErrorCode status = U_ZERO_ERROR;
  icu::SimpleDateFormat format(icu::UnicodeString(pattern), icu::Locale::getUS(), status);
  icu::GregorianCalendar calendar(*icu::TimeZone::getGMT(), icu::Locale::getUS(), status);
  if (U_FAILURE(status)) {
    state.SkipWithError("no ICU formatter");
    return;
  }
  format.setCalendar(calendar);
  std::string out;
  size_t i = 0;
  for (auto _ : state) {
    icu::UnicodeString text;
    format.format(values[i] * 1000.0 + offset, text);
    out.clear();
    text.toUTF8String(out);
    benchmark::DoNotOptimize(out.data());
    if (++i == values.size()) i = 0;
  }
  state.SetItemsProcessed(state.iterations());
}

void BM_DateFormat(benchmark::State& state) {
  const CFDateFormat format(CFDateFormat::D_M_Y, 10, 0, Sep::Slash, false, false);
  RenderAll(state, format, Seconds(), CFFormat::Seconds);
}
BENCHMARK(BM_DateFormat);

void BM_DateReusedICU(benchmark::State& state) {
  ReusedFormatter(state, "dd/MM/yyyy", Seconds(), 0.0);
}
BENCHMARK(BM_DateReusedICU);

// What rendering costs when the formatter and calendar are made for every value.
void BM_DateMadePerValue(benchmark::State& state) {
  const std::vector<double>& values = Seconds();
  std::string out;
  size_t i = 0;
  for (auto _ : state) {
    UErrorCode status = U_ZERO_ERROR;
    icu::SimpleDateFormat format(icu::UnicodeString("dd/MM/yyyy"), icu::Locale::getUS(), status);
    icu::GregorianCalendar calendar(*icu::TimeZone::getGMT(), icu::Locale::getUS(), status);
    format.setCalendar(calendar);
    icu::UnicodeString text;
    format.format(values[i] * 1000.0, text);
    out.clear();
    text.toUTF8String(out);
    benchmark::DoNotOptimize(out.data());
    if (++i == values.size()) i = 0;
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_DateMadePerValue);

void BM_TimeFormat(benchmark::State& state) {
  const CFTimeFormat format(CFTimeFormat::H_M_S, -1, 2, Sep::Colon, true);
  RenderAll(state, format, Seconds(), CFFormat::Seconds);
}
BENCHMARK(BM_TimeFormat);

void BM_TimeReusedICU(benchmark::State& state) {
  ReusedFormatter(state, "HH:mm:ss.SS", Seconds(), 0.0);
}
BENCHMARK(BM_TimeReusedICU);

void BM_DurationFormat(benchmark::State& state) {
  const CFTimeFormat format(CFTimeFormat::D_H_M_S, -1, 0, Sep::Colon, true);
  RenderAll(state, format, Durations(), CFFormat::Seconds);
}
BENCHMARK(BM_DurationFormat);

void BM_DurationReusedICU(benchmark::State& state) {
  ReusedFormatter(state, "g HH:mm:ss", Durations(), -2.108668032e14);
}
BENCHMARK(BM_DurationReusedICU);

}  // namespace

BENCHMARK_MAIN();
