#include "tools/cfmeta/profilejson.h"

#include <fmt/format.h>

#include <cmath>
#include <nlohmann/json.hpp>

#include "tools/cfmeta/document.h"
#include "tools/cfmeta/isodate.h"

namespace cfmeta_tool {

namespace {

using Json = nlohmann::ordered_json;

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
