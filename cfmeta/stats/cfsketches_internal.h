// What the sketches of cfsketches.h share inside the library: the hash and the little-endian
// codec of their serialisations. Not installed.
#ifndef CFMETA_STATS_CFSKETCHES_INTERNAL_H_
#define CFMETA_STATS_CFSKETCHES_INTERNAL_H_

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

namespace cfsketch_internal {

// Every serialisation starts with its kind's byte, then this version.
constexpr unsigned char kFormatVersion = 1;

// Status codes of Deserialize.
constexpr int kDone = 0;
constexpr int kUnusable = 5;

// Reads unaligned little-endian words whatever the host's byte order.
inline uint64_t Load64(const unsigned char* p) {
  uint64_t v;
  std::memcpy(&v, p, sizeof v);
#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__
  v = __builtin_bswap64(v);
#endif
  return v;
}

inline uint64_t Load32(const unsigned char* p) {
  uint32_t v;
  std::memcpy(&v, p, sizeof v);
#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__
  v = __builtin_bswap32(v);
#endif
  return v;
}

// The full 128-bit product of `a` and `b`, its halves folded together by xor.
inline uint64_t FoldedProduct(uint64_t a, uint64_t b) {
  __extension__ typedef unsigned __int128 Wide;
  const Wide product = static_cast<Wide>(a) * b;
  return static_cast<uint64_t>(product) ^ static_cast<uint64_t>(product >> 64);
}

// Odd constants with their bits evenly spread; the hash's values depend on them, and
// serialised distinct counts hold hash values, so they never change.
constexpr uint64_t kHashSeed = 0x2d358dccaa6c78a5ull;
constexpr uint64_t kHashLane0 = 0x8bb84b93962eacc9ull;
constexpr uint64_t kHashLane1 = 0x4b33a62ed433d4a3ull;
constexpr uint64_t kHashFinal = 0x9e3779b97f4a7c15ull;

// The body of CFSketchHash, inlined where the sketches hash on their hot paths. Inputs up to
// 16 bytes take two (possibly overlapping) words; longer ones fold 16 bytes a round into the
// state, then their last 16 bytes. The length goes into the final fold, so overlapping reads
// never make two lengths collide.
inline uint64_t SketchHash(const void* data, size_t length) {
  const unsigned char* p = static_cast<const unsigned char*>(data);
  uint64_t state = kHashSeed;
  uint64_t a;
  uint64_t b;
  if (length <= 16) {
    if (length >= 8) {
      a = Load64(p);
      b = Load64(p + length - 8);
    } else if (length >= 4) {
      a = Load32(p);
      b = Load32(p + length - 4);
    } else if (length > 0) {
      a = (uint64_t{p[0]} << 16) | (uint64_t{p[length / 2]} << 8) | p[length - 1];
      b = 0;
    } else {
      a = 0;
      b = 0;
    }
  } else {
    size_t left = length;
    while (left > 16) {
      state = FoldedProduct(Load64(p) ^ kHashLane0, Load64(p + 8) ^ state);
      p += 16;
      left -= 16;
    }
    a = Load64(p + left - 16);
    b = Load64(p + left - 8);
  }
  const uint64_t mixed = FoldedProduct(a ^ kHashLane0, b ^ kHashLane1 ^ state);
  return FoldedProduct(mixed ^ kHashFinal, length ^ kHashLane1);
}

// One step of a splitmix-style generator; any state is valid.
inline uint64_t NextRandom(uint64_t& state) {
  state += kHashFinal;
  uint64_t z = state;
  z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9ull;
  z = (z ^ (z >> 27)) * 0x94d049bb133111ebull;
  return z ^ (z >> 31);
}

// Appends little-endian fields to a string.
class Writer {
 public:
  explicit Writer(std::string& out) : m_out(out) {}

  void Byte(unsigned char v) { m_out.push_back(static_cast<char>(v)); }

  void Word(uint64_t v) {
    char bytes[8];
    for (int i = 0; i < 8; ++i) bytes[i] = static_cast<char>(v >> (8 * i));
    m_out.append(bytes, 8);
  }

  void Real(double v) {
    uint64_t bits;
    std::memcpy(&bits, &v, sizeof bits);
    Word(bits);
  }

  // Seven bits a byte, low first; the top bit of a byte says another follows.
  void Varint(uint64_t v) {
    while (v >= 0x80) {
      Byte(static_cast<unsigned char>(v | 0x80));
      v >>= 7;
    }
    Byte(static_cast<unsigned char>(v));
  }

  void Text(std::string_view v) {
    Varint(v.size());
    m_out.append(v.data(), v.size());
  }

 private:
  std::string& m_out;
};

// Reads what Writer writes. Once a read runs past the end or meets a malformed field, Ok()
// stays false and every later read gives zeros.
class Reader {
 public:
  Reader(const char* data, size_t size)
      : m_p(reinterpret_cast<const unsigned char*>(data)), m_left(data ? size : 0) {}

  bool Ok() const { return m_ok; }
  // True when every byte was read and nothing failed.
  bool Finished() const { return m_ok && m_left == 0; }
  size_t Left() const { return m_left; }

  unsigned char Byte() {
    if (!Take(1)) return 0;
    return m_p[-1];
  }

  uint64_t Word() {
    if (!Take(8)) return 0;
    return Load64(m_p - 8);
  }

  double Real() {
    const uint64_t bits = Word();
    double v;
    std::memcpy(&v, &bits, sizeof v);
    return v;
  }

  // Refuses more than 64 bits and the overlong forms Writer never makes.
  uint64_t Varint() {
    uint64_t v = 0;
    for (int shift = 0; shift < 64; shift += 7) {
      const unsigned char byte = Byte();
      if (!m_ok) return 0;
      const uint64_t bits = byte & 0x7f;
      if (shift == 63 && bits > 1) break;
      v |= bits << shift;
      if (!(byte & 0x80)) {
        if (byte == 0 && shift > 0) break;
        return v;
      }
    }
    m_ok = false;
    return 0;
  }

  // A view into the input; empty after a failure.
  std::string_view Text() {
    const uint64_t size = Varint();
    if (!m_ok || size > m_left) {
      m_ok = false;
      return {};
    }
    Take(size);
    return std::string_view(reinterpret_cast<const char*>(m_p - size), size);
  }

  void Fail() { m_ok = false; }

 private:
  bool Take(size_t n) {
    if (!m_ok || n > m_left) {
      m_ok = false;
      return false;
    }
    m_p += n;
    m_left -= n;
    return true;
  }

  const unsigned char* m_p;
  size_t m_left;
  bool m_ok = true;
};

}  // namespace cfsketch_internal

#endif  // CFMETA_STATS_CFSKETCHES_INTERNAL_H_
