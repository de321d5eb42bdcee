// Writes a delimited text file for timing `cfmeta profile`: a header row, then ROWS rows of
// eight numeric columns, four categorical columns of 5 to 50 categories and two free-text
// columns, with about 1% of the cells empty. The same ROWS and SEED always give the same file.
//
//   gen_profile_data ROWS [SEED] > data.csv
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

struct SplitMix64 {
  uint64_t state;
  uint64_t Next() {
    uint64_t z = (state += 0x9E3779B97F4A7C15ull);
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
    return z ^ (z >> 31);
  }
  // Uniform in [0, n).
  uint64_t Below(uint64_t n) { return Next() % n; }
  double Unit() { return static_cast<double>(Next() >> 11) / 9007199254740992.0; }
};

const char* const kWords[] = {
    "delivery", "late",    "arrived", "damaged", "great",   "service", "would",  "order",
    "again",    "price",   "quality", "staff",   "helpful", "slow",    "refund", "never",
    "box",      "product", "colour",  "size",    "fits",    "small",   "large",  "thanks",
    "support",  "waited",  "weeks",   "quickly", "happy",   "not",     "very",   "and"};
const int kWordCount = sizeof(kWords) / sizeof(kWords[0]);

const char* const kRegions[] = {"North", "South", "East", "West", "Central"};
const int kCategoryCounts[] = {5, 12, 24, 50};

void AppendText(SplitMix64& rng, std::string& row) {
  // Free text: a sentence of words, quoted because some carry a comma or a quote.
  int words = 5 + static_cast<int>(rng.Below(7));
  row += '"';
  for (int w = 0; w < words; ++w) {
    if (w > 0) row += rng.Below(8) == 0 ? ", " : " ";
    row += kWords[rng.Below(kWordCount)];
  }
  if (rng.Below(20) == 0) row += " \"\"really\"\"";
  row += " #";
  row += std::to_string(rng.Below(1000000));
  row += '"';
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) {
    std::fprintf(stderr, "usage: gen_profile_data ROWS [SEED] > data.csv\n");
    return 2;
  }
  long long rows = std::atoll(argv[1]);
  SplitMix64 rng{argc > 2 ? std::strtoull(argv[2], nullptr, 10) : 42u};

  std::fputs(
      "age,income,score,balance,visits,rating,latitude,longitude,"
      "region,product,store,segment,comment,notes\n",
      stdout);
  std::string row;
  char buf[64];
  for (long long r = 0; r < rows; ++r) {
    row.clear();
    for (int c = 1; c < 15; ++c) {
      if (c > 1) row += ',';
      if (rng.Below(100) == 0) continue;  // an empty cell
      switch (c) {
        case 1:
          std::snprintf(buf, sizeof buf, "%d", 18 + static_cast<int>(rng.Below(70)));
          break;
        case 2:
          std::snprintf(buf, sizeof buf, "%.2f", 15000 + rng.Unit() * 185000);
          break;
        case 3:
          std::snprintf(buf, sizeof buf, "%.3f", rng.Unit() * 100);
          break;
        case 4:
          std::snprintf(buf, sizeof buf, "%.2f", (rng.Unit() - 0.3) * 20000);
          break;
        case 5:
          std::snprintf(buf, sizeof buf, "%d", static_cast<int>(rng.Below(400)));
          break;
        case 6:
          std::snprintf(buf, sizeof buf, "%.1f", 1 + rng.Unit() * 4);
          break;
        case 7:
          std::snprintf(buf, sizeof buf, "%.6f", 35 + rng.Unit() * 20);
          break;
        case 8:
          std::snprintf(buf, sizeof buf, "%.6f", -10 + rng.Unit() * 40);
          break;
        case 9:
          std::snprintf(buf, sizeof buf, "%s", kRegions[rng.Below(5)]);
          break;
        case 10:
        case 11:
        case 12:
          std::snprintf(buf, sizeof buf, "%s-%02d",
                        c == 10   ? "P"
                        : c == 11 ? "Store"
                                  : "Seg",
                        static_cast<int>(rng.Below(kCategoryCounts[c - 9])));
          break;
        default:
          buf[0] = '\0';
          AppendText(rng, row);
          break;
      }
      row += buf;
    }
    row += '\n';
    std::fwrite(row.data(), 1, row.size(), stdout);
  }
  return 0;
}
