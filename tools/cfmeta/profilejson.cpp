#include "tools/cfmeta/profilejson.h"

#include <fmt/format.h>

#include <cmath>
#include <nlohmann/json.hpp>

#include "tools/cfmeta/document.h"

namespace cfmeta_tool {

namespace {

using Json = nlohmann::ordered_json;

// The civil date of a day count from 1970-01-01, proleptic Gregorian.
void CivilFromDays(long long days, long long& year, unsigned& month, unsigned& day) {
  days += 719468;
  const long long era = (days >= 0 ? days : days - 146096) / 146097;
  const unsigned dayOfEra = static_cast<unsigned>(days - era * 146097);
  const unsigned yearOfEra = (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
  const unsigned dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
  const unsigned shifted = (5 * dayOfYear + 2) / 153;
  day = dayOfYear - (153 * shifted + 2) / 5 + 1;
  month = shifted < 10 ? shifted + 3 : shifted - 9;
  year = static_cast<long long>(yearOfEra) + era * 400 + (month <= 2);
}

std::string TimeText(double seconds, int decimals) {
  const double scale = std::pow(10.0, decimals);
  const long long units = std::llround(seconds * scale);
  const long long whole = units / static_cast<long long>(scale);
  std::string text = fmt::format("{:02}:{:02}:{:02}", whole / 3600, whole / 60 % 60, whole % 60);
  if (decimals > 0) {
    text += fmt::format(".{:0{}}", units % static_cast<long long>(scale), decimals);
  }
  return text;
}

bool Temporal(CFField::StorageType storage) {
  return storage == CFField::DateStorage || storage == CFField::TimeStorage ||
         storage == CFField::TimestampStorage;
}

// A value of the column: ISO text for dates and times, an integer or a real number otherwise.
Json ValueJson(const ColumnProfile& column, double value) {
  if (!std::isfinite(value)) return nullptr;
  if (Temporal(column.storage)) return IsoText(column.storage, value, column.decimals);
  if (column.storage == CFField::IntegerStorage && std::fabs(value) < 9.2e18) {
    return static_cast<long long>(value);
  }
  return value;
}

Json Finite(double value) { return std::isfinite(value) ? Json(value) : Json(nullptr); }

Json ColumnJson(const ColumnProfile& column) {
  Json out;
  out["name"] = column.name;
  out["storage"] = EntityText(CFField::kStorageTable, column.storage);
  out["level"] = EntityText(CFField::kMeasureTable, column.level);
  out["count"] = column.count;
  out["nulls"] = column.nulls;
  out["distinct"] = column.distinct;
  out["distinct_exact"] = column.distinctExact;
  if (column.numeric) {
    out["min"] = ValueJson(column, column.min);
    out["max"] = ValueJson(column, column.max);
  } else if (column.texts) {
    out["min"] = column.minText;
    out["max"] = column.maxText;
  } else {
    out["min"] = nullptr;
    out["max"] = nullptr;
  }
  Json top = Json::array();
  for (const ColumnProfile::Top& entry : column.top) {
    Json item;
    item["value"] = column.numeric ? ValueJson(column, entry.value) : Json(entry.text);
    item["count"] = entry.count;
    if (entry.error > 0) item["error"] = entry.error;
    top.push_back(std::move(item));
  }
  out["top"] = std::move(top);
  if (column.numeric) {
    out["mean"] = Temporal(column.storage) ? ValueJson(column, column.mean) : Finite(column.mean);
    out["std"] = Finite(column.stdDev);
    out["skewness"] = Finite(column.skewness);
    out["kurtosis"] = Finite(column.kurtosis);
    Json percentiles = Json::object();
    for (size_t i = 0; i < column.percentiles.size(); ++i) {
      percentiles[std::to_string(ColumnProfile::kPercentileRanks[i])] =
          ValueJson(column, column.percentiles[i]);
    }
    out["percentiles"] = std::move(percentiles);
    out["percentiles_exact"] = column.percentilesExact;
    out["iqr"] = Finite(column.interQuartileRange);
    out["outlier_bounds"] = {Finite(column.lowerFence), Finite(column.upperFence)};
    Json histogram = Json::array();
    for (const ColumnProfile::Bin& bin : column.histogram) {
      histogram.push_back({{"lower", Finite(bin.lower)},
                           {"upper", Finite(bin.upper)},
                           {"count", std::llround(bin.count)}});
    }
    out["histogram"] = std::move(histogram);
  }
  if (!column.dateForm.empty()) {
    out["date_format"] = column.dateForm;
    out["date_order_assumed"] = column.dateOrderAssumed;
  }
  if (column.texts) {
    out["length"] = {{"min", column.lengthMin},
                     {"max", column.lengthMax},
                     {"mean", column.lengthMean}};
  }
  return out;
}

}  // namespace

std::string IsoText(CFField::StorageType storage, double value, int decimals) {
  if (storage == CFField::TimeStorage) return TimeText(value, decimals);
  long long days = static_cast<long long>(
      std::floor(storage == CFField::DateStorage ? value : value / 86400.0));
  long long year;
  unsigned month, day;
  CivilFromDays(days, year, month, day);
  std::string text = fmt::format("{:04}-{:02}-{:02}", year, month, day);
  if (storage == CFField::TimestampStorage) {
    text += 'T' + TimeText(value - static_cast<double>(days) * 86400.0, decimals);
  }
  return text;
}

std::string ProfileJson(const std::vector<ColumnProfile>& columns, uint64_t rows) {
  Json out;
  out["records"] = rows;
  Json list = Json::array();
  for (const ColumnProfile& column : columns) list.push_back(ColumnJson(column));
  out["columns"] = std::move(list);
  // Texts the file wrote in another encoding than UTF-8 are kept, their bad bytes replaced.
  return out.dump(2, ' ', false, Json::error_handler_t::replace) + '\n';
}

}  // namespace cfmeta_tool
