// Replays the kept fuzz inputs through the fuzz targets' own checks: every input that once
// broke a rule stays in fuzz/regressions/<target>/, and the seed corpora ride along.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "fuzz/cffuzz_checks.h"

namespace {

typedef std::string (*Check)(const uint8_t* data, size_t size);

struct Target {
  const char* name;
  Check check;
};

const Target kTargets[] = {
    {"metadata_roundtrip", cffuzz::CheckMetadataRoundTrip},
    {"xml_wrapper", cffuzz::CheckXMLWrapper},
    {"number_format", cffuzz::CheckNumberFormat},
    {"sketches", cffuzz::CheckSketches},
};

std::vector<std::filesystem::path> FilesUnder(const std::filesystem::path& dir) {
  std::vector<std::filesystem::path> files;
  if (!std::filesystem::is_directory(dir)) return files;
  for (const auto& entry : std::filesystem::directory_iterator(dir)) {
    if (entry.is_regular_file()) files.push_back(entry.path());
  }
  std::sort(files.begin(), files.end());
  return files;
}

TEST(FuzzRegressionTest, KeptInputsKeepEveryRule) {
  size_t replayed = 0;
  for (const Target& target : kTargets) {
    for (const char* kind : {"regressions", "corpus"}) {
      const std::filesystem::path dir = std::filesystem::path(CFMETA_FUZZ_DIR) / kind / target.name;
      for (const auto& path : FilesUnder(dir)) {
        SCOPED_TRACE(path.string());
        std::ifstream in(path, std::ios::binary);
        const std::string bytes((std::istreambuf_iterator<char>(in)),
                                std::istreambuf_iterator<char>());
        EXPECT_EQ("", target.check(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size()));
        ++replayed;
      }
    }
    // Every target has a seed corpus, so a wrong directory cannot pass unnoticed.
    EXPECT_FALSE(
        FilesUnder(std::filesystem::path(CFMETA_FUZZ_DIR) / "corpus" / target.name).empty())
        << target.name;
  }
  EXPECT_GT(replayed, 0u);
}

}  // namespace
