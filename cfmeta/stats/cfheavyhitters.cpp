// The heavy hitters: counters found through a hash table, with the least of them gathered only
// when one must be evicted.
#include <algorithm>
#include <utility>

#include "cfmeta/stats/cfsketches.h"
#include "cfmeta/stats/cfsketches_internal.h"

namespace {

using cfsketch_internal::kDone;
using cfsketch_internal::kUnusable;
using cfsketch_internal::Reader;
using cfsketch_internal::Writer;

constexpr unsigned char kKind = 'H';
constexpr unsigned char kExactFlag = 1;

uint32_t ClampCapacity(uint32_t capacity) {
  return std::min(std::max(capacity, uint32_t{1}), CFHeavyHitters::kMaxCapacity);
}

// The order of Top: larger counts first, then smaller value bytes.
template <typename C>
bool TopOrder(const C& a, const C& b) {
  if (a.count != b.count) return a.count > b.count;
  return a.value < b.value;
}

}  // namespace

CFHeavyHitters::CFHeavyHitters(uint32_t capacity) : m_capacity(ClampCapacity(capacity)) {
  Rebuild({});
}

void CFHeavyHitters::Add(std::string_view value, uint64_t weight) {
  Add(value, cfsketch_internal::SketchHash(value.data(), value.size()), weight);
}

void CFHeavyHitters::Add(std::string_view value, uint64_t hash, uint64_t weight) {
  if (weight == 0) return;
  m_count += weight;
  const uint32_t found = Find(value, hash);
  if (found != kNone) {
    m_counters[found].count += weight;  // it stays out of the least, where it may sit as stale
    return;
  }
  if (m_counters.size() < m_capacity) {
    const uint32_t index = static_cast<uint32_t>(m_counters.size());
    m_counters.push_back(Counter{std::string(value), hash, weight, 0});
    InsertSlot(index);
    m_least.clear();
    return;
  }
  // The value takes over the least counter; whatever weight that counter had may have been
  // the new value's, so it becomes the error.
  m_exact = false;
  const uint32_t index = TakeLeast();
  EraseSlot(index);
  Counter& counter = m_counters[index];
  counter.value.assign(value.data(), value.size());
  counter.hash = hash;
  counter.error = counter.count;
  counter.count += weight;
  InsertSlot(index);
}

void CFHeavyHitters::Merge(const CFHeavyHitters& other) {
  if (other.m_count == 0) return;
  if (&other == this) {
    const CFHeavyHitters copy = other;
    Merge(copy);
    return;
  }
  // A value one side holds no counter for may have up to that side's least count there
  // (nothing while the side is exact), so it is added to count and error alike.
  const uint64_t floorHere = m_exact ? 0 : LeastCount();
  const uint64_t floorThere = other.m_exact ? 0 : other.LeastCount();
  std::vector<Counter> combined;
  combined.reserve(m_counters.size() + other.m_counters.size());
  for (const Counter& counter : m_counters) {
    combined.push_back(counter);
    Counter& sum = combined.back();
    const uint32_t match = other.Find(counter.value, counter.hash);
    sum.count += match != kNone ? other.m_counters[match].count : floorThere;
    sum.error += match != kNone ? other.m_counters[match].error : floorThere;
  }
  for (const Counter& counter : other.m_counters) {
    if (Find(counter.value, counter.hash) != kNone) continue;
    combined.push_back(counter);
    combined.back().count += floorHere;
    combined.back().error += floorHere;
  }
  // An inexact side bounds the values it holds no counter for only while the result keeps no
  // more counters than that side had.
  if (!other.m_exact) m_capacity = std::min(m_capacity, other.m_capacity);
  const bool fits = combined.size() <= m_capacity;
  if (!fits) {
    std::nth_element(combined.begin(), combined.begin() + m_capacity, combined.end(),
                     TopOrder<Counter>);
    combined.resize(m_capacity);
  }
  m_exact = m_exact && other.m_exact && fits;
  m_count += other.m_count;
  Rebuild(std::move(combined));
}

std::vector<CFHeavyHitters::Item> CFHeavyHitters::Top(size_t n) const {
  std::vector<const Counter*> order;
  order.reserve(m_counters.size());
  for (const Counter& counter : m_counters) order.push_back(&counter);
  n = std::min(n, order.size());
  std::partial_sort(order.begin(), order.begin() + n, order.end(),
                    [](const Counter* a, const Counter* b) { return TopOrder(*a, *b); });
  std::vector<Item> items;
  items.reserve(n);
  for (size_t i = 0; i < n; ++i)
    items.push_back({order[i]->value, order[i]->count, order[i]->error});
  return items;
}

std::string CFHeavyHitters::Serialize() const {
  std::string bytes;
  Writer writer(bytes);
  writer.Byte(kKind);
  writer.Byte(cfsketch_internal::kFormatVersion);
  writer.Varint(m_capacity);
  writer.Byte(m_exact ? kExactFlag : 0);
  writer.Varint(m_count);
  writer.Varint(m_counters.size());
  for (const Item& item : Top(m_counters.size())) {
    writer.Text(item.value);
    writer.Varint(item.count);
    writer.Varint(item.error);
  }
  return bytes;
}

int CFHeavyHitters::Deserialize(const char* data, size_t size, CFHeavyHitters& out) {
  Reader reader(data, size);
  // 1. Kind, version and the scalars.
  if (reader.Byte() != kKind || reader.Byte() != cfsketch_internal::kFormatVersion) {
    return kUnusable;
  }
  const uint64_t capacity = reader.Varint();
  const unsigned char flags = reader.Byte();
  const uint64_t count = reader.Varint();
  const uint64_t held = reader.Varint();
  const bool exact = (flags & kExactFlag) != 0;
  // Each counter takes at least three bytes.
  if (!reader.Ok() || capacity == 0 || capacity > kMaxCapacity || (flags & ~kExactFlag) != 0 ||
      held > capacity || (!exact && held != capacity) || held > reader.Left() / 3) {
    return kUnusable;
  }
  // 2. The counters, in Top order, each value once.
  CFHeavyHitters result(static_cast<uint32_t>(capacity));
  std::vector<Counter> counters;
  counters.reserve(held);
  uint64_t sum = 0;
  for (uint64_t i = 0; i < held; ++i) {
    const std::string_view value = reader.Text();
    const uint64_t itemCount = reader.Varint();
    const uint64_t error = reader.Varint();
    if (!reader.Ok() || itemCount == 0 || error > itemCount || (exact && error != 0) ||
        sum + itemCount < sum) {
      return kUnusable;
    }
    counters.push_back(Counter{std::string(value),
                               cfsketch_internal::SketchHash(value.data(), value.size()), itemCount,
                               error});
    if (i > 0 && !TopOrder(counters[i - 1], counters[i])) return kUnusable;
    sum += itemCount;
  }
  if (!reader.Finished() || (exact ? sum != count : sum > count)) return kUnusable;
  // 3. Inexact: no error above the least count, which is the last.
  if (!exact) {
    for (const Counter& counter : counters) {
      if (counter.error > counters.back().count) return kUnusable;
    }
  }
  result.Rebuild(std::move(counters));
  if (result.m_counters.size() != held) return kUnusable;
  result.m_count = count;
  result.m_exact = exact;
  out = std::move(result);
  return kDone;
}

uint32_t CFHeavyHitters::Find(std::string_view value, uint64_t hash) const {
  const size_t mask = m_slots.size() - 1;
  for (size_t slot = hash & mask;; slot = (slot + 1) & mask) {
    const uint32_t entry = m_slots[slot];
    if (entry == 0) return kNone;
    const Counter& counter = m_counters[entry - 1];
    if (counter.hash == hash && counter.value == value) return entry - 1;
  }
}

void CFHeavyHitters::InsertSlot(uint32_t index) {
  const size_t mask = m_slots.size() - 1;
  size_t slot = m_counters[index].hash & mask;
  while (m_slots[slot] != 0) slot = (slot + 1) & mask;
  m_slots[slot] = index + 1;
}

void CFHeavyHitters::EraseSlot(uint32_t index) {
  const size_t mask = m_slots.size() - 1;
  size_t hole = m_counters[index].hash & mask;
  while (m_slots[hole] != index + 1) hole = (hole + 1) & mask;
  // Later entries of the run move back into the hole unless their probe starts after it, so
  // that every entry stays reachable from its home slot without tombstones.
  for (size_t slot = (hole + 1) & mask; m_slots[slot] != 0; slot = (slot + 1) & mask) {
    const size_t home = m_counters[m_slots[slot] - 1].hash & mask;
    if (((slot - home) & mask) >= ((slot - hole) & mask)) {
      m_slots[hole] = m_slots[slot];
      hole = slot;
    }
  }
  m_slots[hole] = 0;
}

uint64_t CFHeavyHitters::LeastCount() const {
  uint64_t least = UINT64_MAX;
  for (const Counter& counter : m_counters) least = std::min(least, counter.count);
  return m_counters.empty() ? 0 : least;
}

uint32_t CFHeavyHitters::TakeLeast() {
  for (;;) {
    while (!m_least.empty()) {
      const uint32_t index = m_least.back();
      m_least.pop_back();
      if (m_counters[index].count == m_leastCount) return index;
    }
    // Every counter with the least count, the lowest index last so that it goes first. Counts
    // only grow between scans, so a candidate still at that count is still among the least;
    // a scan serves as many evictions as it finds counters, which in a stream of mostly new
    // values is nearly all of them.
    m_leastCount = LeastCount();
    for (uint32_t i = static_cast<uint32_t>(m_counters.size()); i-- > 0;) {
      if (m_counters[i].count == m_leastCount) m_least.push_back(i);
    }
  }
}

void CFHeavyHitters::Rebuild(std::vector<Counter> counters) {
  size_t slots = 2;
  while (slots < 2 * size_t{m_capacity}) slots *= 2;
  m_slots.assign(slots, 0);
  m_counters.clear();
  m_counters.reserve(counters.size());
  for (Counter& counter : counters) {
    if (Find(counter.value, counter.hash) != kNone) continue;  // only a damaged input repeats
    m_counters.push_back(std::move(counter));
    InsertSlot(static_cast<uint32_t>(m_counters.size() - 1));
  }
  m_least.clear();
}
