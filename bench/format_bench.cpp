// Rendering cost of the number and decorated formats beside the plainest ways of doing the
// same work.
//
// Each benchmark renders the same spread of values, one per iteration; items per second is
// values per second.
#include <benchmark/benchmark.h>
#include <unicode/decimfmt.h>
#include <unicode/locid.h>
#include <unicode/unistr.h>

#include <cmath>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "cfmeta/field/cfdatum.h"
#include "cfmeta/format/cfdecoratedformat.h"
#include "cfmeta/format/cfformatutils.h"
#include "cfmeta/format/cfnumberformat.h"

namespace {

// Magnitudes from 1e-4 to 1e9, both signs, so that some values fall back to scientific in
// width 12 and most are grouped.
const std::vector<double>& Values() {
  static const std::vector<double> values = [] {
    std::vector<double> out;
    for (int i = 0; i < 1024; ++i) {
      const double magnitude = std::pow(10.0, -4.0 + 13.0 * ((i * 37) % 1024) / 1024.0);
      out.push_back(i % 3 == 0 ? -magnitude : magnitude);
    }
    return out;
  }();
  return values;
}

const std::vector<CFDatum>& Data() {
  static const std::vector<CFDatum> data(Values().begin(), Values().end());
  return data;
}

void RenderAll(benchmark::State& state, const CFFormat& format) {
  const std::vector<CFDatum>& data = Data();
  std::string out;
  size_t i = 0;
  for (auto _ : state) {
    format.Format(data[i], CFFormat::NoUnits, out);
    benchmark::DoNotOptimize(out.data());
    if (++i == data.size()) i = 0;
  }
  state.SetItemsProcessed(state.iterations());
}

void BM_StandardComma(benchmark::State& state) {
  CFNumberFormat format(CFNumberFormat::Standard, 12, 2);
  format.SetSeparators(CFFormat::DecimalSymbol::Period, CFFormat::GroupingSymbol::Comma);
  RenderAll(state, format);
}
BENCHMARK(BM_StandardComma);

// The yardstick for BM_DecoratedCurrency: the same width, decimals and grouping undecorated.
void BM_StandardComma14(benchmark::State& state) {
  CFNumberFormat format(CFNumberFormat::Standard, 14, 2);
  format.SetSeparators(CFFormat::DecimalSymbol::Period, CFFormat::GroupingSymbol::Comma);
  RenderAll(state, format);
}
BENCHMARK(BM_StandardComma14);

// A currency prefix with parenthesised negatives; the largest values do not leave room for
// the affixes and drop them.
void BM_DecoratedCurrency(benchmark::State& state) {
  CFDecoratedFormat format(CFDecoratedFormat::Currency, 14, 2);
  format.SetSeparators(CFFormat::DecimalSymbol::Period, CFFormat::GroupingSymbol::Comma);
  format.SetAffixes("$", "");
  format.SetNegAffixes("(", ")");
  RenderAll(state, format);
}
BENCHMARK(BM_DecoratedCurrency);

// In German, so that both symbols differ from the text printed and every group is filled.
void BM_StandardLocal(benchmark::State& state) {
  const icu::Locale saved = icu::Locale::getDefault();
  UErrorCode status = U_ZERO_ERROR;
  icu::Locale::setDefault(icu::Locale::getGermany(), status);
  CFNumberFormat format(CFNumberFormat::Standard, 12, 2);
  format.SetSeparators(CFFormat::DecimalSymbol::Local, CFFormat::GroupingSymbol::Local);
  RenderAll(state, format);
  icu::Locale::setDefault(saved, status);
}
BENCHMARK(BM_StandardLocal);

// The floor for the two above: the same values printed by the C library, into a std::string
// as Format does.
void BM_Snprintf(benchmark::State& state) {
  const std::vector<double>& values = Values();
  std::string out;
  char buffer[64];
  size_t i = 0;
  for (auto _ : state) {
    int n = std::snprintf(buffer, sizeof buffer, "%*.*f", 12, 2, values[i]);
    out.assign(buffer, static_cast<size_t>(n));
    benchmark::DoNotOptimize(out.data());
    if (++i == values.size()) i = 0;
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_Snprintf);

void BM_Scientific(benchmark::State& state) {
  CFNumberFormat format(CFNumberFormat::Scientific, 12, 3);
  RenderAll(state, format);
}
BENCHMARK(BM_Scientific);

// The floor for Scientific: one ICU formatter set up the same way, made once, its text
// padded and turned into UTF-8 as Format does.
void BM_ReusedDecimalFormat(benchmark::State& state) {
  std::unique_ptr<icu::DecimalFormat> format(
      CFFormatUtils::MakeDecimalFormat(&icu::Locale::getUS()));
  if (!format) {
    state.SkipWithError("no ICU formatter");
    return;
  }
  format->setScientificNotation(true);
  format->setMinimumIntegerDigits(1);
  format->setMaximumIntegerDigits(1);
  format->setMaximumFractionDigits(3);
  format->setMinimumFractionDigits(3);
  format->setMinimumExponentDigits(3);
  format->setExponentSignAlwaysShown(true);
  format->setSignificantDigitsUsed(false);
  const std::vector<double>& values = Values();
  std::string out;
  size_t i = 0;
  for (auto _ : state) {
    icu::UnicodeString text;
    format->format(values[i], text);
    text.padLeading(12);
    out.clear();
    text.toUTF8String(out);
    benchmark::DoNotOptimize(out.data());
    if (++i == values.size()) i = 0;
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_ReusedDecimalFormat);

}  // namespace

BENCHMARK_MAIN();
