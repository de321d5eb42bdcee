#include "cfmeta/stats/cfcatstats.h"

#include <memory>

#include "cfmeta/stats/cfcatstatsimp.h"

CFCatStrLess::~CFCatStrLess() = default;

CFCatStats::~CFCatStats() = default;

CFCatStatsDbl* CFCatStats::CatNumVersion() const {
  std::unique_ptr<CFCatStatsDbl> codes(new CFCatStatsDbl);
  const uint32_t count = GetNCats();
  for (uint32_t i = 0; i < count; ++i) {
    codes->Update(static_cast<double>(i), GetCatWeight(i));
  }
  return codes.release();
}
