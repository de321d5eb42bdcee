// The sketches' hash and the distinct count: an exact hash set that turns into registers.
#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "cfmeta/stats/cfsketches.h"
#include "cfmeta/stats/cfsketches_internal.h"

namespace {

using cfsketch_internal::kDone;
using cfsketch_internal::kUnusable;
using cfsketch_internal::Reader;
using cfsketch_internal::Writer;

constexpr unsigned char kKind = 'D';
constexpr unsigned char kExactMode = 0;
constexpr unsigned char kEstimatingMode = 1;
constexpr size_t kRegisters = size_t{1} << CFDistinctCount::kRegisterBits;
// A register holds a run of up to 64 - kRegisterBits zeros, plus one.
constexpr int kMaxRegister = 64 - CFDistinctCount::kRegisterBits + 1;
constexpr size_t kFirstTableSize = 16;

// The two series of the estimator for registers without a run (sigma, from the fraction at 0)
// and at the longest run (tau, from the fraction below it); each stops when a term no longer
// changes the sum.
double Sigma(double x) {
  if (x == 1.0) return std::numeric_limits<double>::infinity();
  double y = 1.0;
  double z = x;
  double previous;
  do {
    x *= x;
    previous = z;
    z += x * y;
    y += y;
  } while (z != previous);
  return z;
}

double Tau(double x) {
  if (x == 0.0 || x == 1.0) return 0.0;
  double y = 1.0;
  double z = 1.0 - x;
  double previous;
  do {
    x = std::sqrt(x);
    previous = z;
    y *= 0.5;
    z -= (1.0 - x) * (1.0 - x) * y;
  } while (z != previous);
  return z / 3.0;
}

}  // namespace

uint64_t CFSketchHash(const void* data, size_t length) {
  return cfsketch_internal::SketchHash(data, length);
}

void CFDistinctCount::Add(std::string_view value) {
  AddHash(cfsketch_internal::SketchHash(value.data(), value.size()));
}

void CFDistinctCount::AddHash(uint64_t hash) {
  if (!m_registers.empty()) {
    AddToRegisters(hash);
  } else {
    InsertExact(hash);
  }
}

void CFDistinctCount::Merge(const CFDistinctCount& other) {
  if (&other == this) return;
  if (other.IsExact()) {
    if (other.m_hasZero) AddHash(0);
    for (uint64_t hash : other.m_table) {
      if (hash != 0) AddHash(hash);
    }
    return;
  }
  if (IsExact()) StartEstimating();
  for (size_t i = 0; i < kRegisters; ++i) {
    m_registers[i] = std::max(m_registers[i], other.m_registers[i]);
  }
}

uint64_t CFDistinctCount::Estimate() const {
  if (IsExact()) return m_tableCount + (m_hasZero ? 1 : 0);
  uint32_t histogram[kMaxRegister + 1] = {};
  for (uint8_t r : m_registers) ++histogram[r];
  const double m = static_cast<double>(kRegisters);
  constexpr int q = kMaxRegister - 1;
  double z = m * Tau(1.0 - histogram[q + 1] / m);
  for (int k = q; k >= 1; --k) z = 0.5 * (z + histogram[k]);
  z += m * Sigma(histogram[0] / m);
  const double alpha = 1.0 / (2.0 * std::log(2.0));
  return static_cast<uint64_t>(std::llround(alpha * m * m / z));
}

std::string CFDistinctCount::Serialize() const {
  std::string bytes;
  Writer writer(bytes);
  writer.Byte(kKind);
  writer.Byte(cfsketch_internal::kFormatVersion);
  if (IsExact()) {
    writer.Byte(kExactMode);
    std::vector<uint64_t> hashes;
    hashes.reserve(m_tableCount + 1);
    if (m_hasZero) hashes.push_back(0);
    for (uint64_t hash : m_table) {
      if (hash != 0) hashes.push_back(hash);
    }
    std::sort(hashes.begin(), hashes.end());
    writer.Varint(hashes.size());
    for (uint64_t hash : hashes) writer.Word(hash);
  } else {
    writer.Byte(kEstimatingMode);
    for (size_t i = 0; i < kRegisters; i += 4) {
      const uint32_t packed = m_registers[i] | (m_registers[i + 1] << 6) |
                              (m_registers[i + 2] << 12) | (uint32_t{m_registers[i + 3]} << 18);
      writer.Byte(static_cast<unsigned char>(packed));
      writer.Byte(static_cast<unsigned char>(packed >> 8));
      writer.Byte(static_cast<unsigned char>(packed >> 16));
    }
  }
  return bytes;
}

int CFDistinctCount::Deserialize(const char* data, size_t size, CFDistinctCount& out) {
  Reader reader(data, size);
  if (reader.Byte() != kKind || reader.Byte() != cfsketch_internal::kFormatVersion) {
    return kUnusable;
  }
  CFDistinctCount result;
  const unsigned char mode = reader.Byte();
  if (mode == kExactMode) {
    const uint64_t count = reader.Varint();
    if (!reader.Ok() || count > kExactLimit || count * 8 != reader.Left()) return kUnusable;
    uint64_t previous = 0;
    for (uint64_t i = 0; i < count; ++i) {
      const uint64_t hash = reader.Word();
      if (i > 0 && hash <= previous) return kUnusable;
      result.InsertExact(hash);
      previous = hash;
    }
  } else if (mode == kEstimatingMode) {
    result.m_registers.assign(kRegisters, 0);
    for (size_t i = 0; i < kRegisters; i += 4) {
      const uint32_t b0 = reader.Byte();
      const uint32_t b1 = reader.Byte();
      const uint32_t b2 = reader.Byte();
      const uint32_t packed = b0 | (b1 << 8) | (b2 << 16);
      for (size_t j = 0; j < 4; ++j) {
        const uint8_t r = (packed >> (6 * j)) & 0x3f;
        if (r > kMaxRegister) return kUnusable;
        result.m_registers[i + j] = r;
      }
    }
  } else {
    return kUnusable;
  }
  if (!reader.Finished()) return kUnusable;
  out = std::move(result);
  return kDone;
}

void CFDistinctCount::InsertExact(uint64_t hash) {
  const uint32_t held = m_tableCount + (m_hasZero ? 1 : 0);
  if (hash == 0) {
    if (m_hasZero) return;
    if (held == kExactLimit) {
      StartEstimating();
      AddToRegisters(hash);
      return;
    }
    m_hasZero = true;
    return;
  }
  if (m_table.empty()) m_table.assign(kFirstTableSize, 0);
  const size_t mask = m_table.size() - 1;
  size_t slot = hash & mask;
  while (m_table[slot] != 0) {
    if (m_table[slot] == hash) return;
    slot = (slot + 1) & mask;
  }
  if (held == kExactLimit) {
    StartEstimating();
    AddToRegisters(hash);
    return;
  }
  m_table[slot] = hash;
  if (++m_tableCount * 2 > m_table.size()) GrowTable();
}

void CFDistinctCount::GrowTable() {
  std::vector<uint64_t> old(m_table.size() * 2, 0);
  old.swap(m_table);
  const size_t mask = m_table.size() - 1;
  for (uint64_t hash : old) {
    if (hash == 0) continue;
    size_t slot = hash & mask;
    while (m_table[slot] != 0) slot = (slot + 1) & mask;
    m_table[slot] = hash;
  }
}

void CFDistinctCount::StartEstimating() {
  m_registers.assign(kRegisters, 0);
  if (m_hasZero) AddToRegisters(0);
  for (uint64_t hash : m_table) {
    if (hash != 0) AddToRegisters(hash);
  }
  std::vector<uint64_t>().swap(m_table);
  m_tableCount = 0;
  m_hasZero = false;
}
