// The sums are taken by columns, so that no byte waits for the one before and compilers use vector instructions.
//
// Over n bytes d[0] ... d[n-1] the sums grow by
//
//     a += sum of d[i]
//     b += n * a + sum of (n - i) * d[i]
//
// Written as rows of w bytes, byte i = r * w + c stands in column c, and with R rows its weight is (R - r) * w - c. So
// it takes two sums in each column: of its bytes, and of the values that the first sum has after each row, in which a
// byte of row r counts R - r times.
#include "qor/core/codec/adler32.h"

#include <array>

namespace qor::impl {
namespace {

constexpr std::uint32_t kModulus = 65521;  // the largest prime below 2^16

constexpr std::size_t kColumns = 32;
constexpr std::size_t kRows = 22;  // at a time
static_assert(255 * kRows * (kRows + 1) / 2 < 1 << 16, "the sums of a column have 16 bits");

struct Sums {
    std::uint32_t a;
    std::uint32_t b;
};

// Up to kRows rows.
inline Sums addRows(Sums sums, const unsigned char* rows, std::size_t count) {
    std::array<std::uint16_t, kColumns> bytes{};
    std::array<std::uint16_t, kColumns> passed{};
    for (std::size_t row = 0; row < count; ++row, rows += kColumns) {
        for (std::size_t column = 0; column < kColumns; ++column) {
            bytes[column] = static_cast<std::uint16_t>(bytes[column] + rows[column]);
            passed[column] = static_cast<std::uint16_t>(passed[column] + bytes[column]);
        }
    }
    std::uint32_t a = 0;
    std::uint32_t b = 0;
    for (std::uint32_t column = 0; column < kColumns; ++column) {
        a += bytes[column];
        b += std::uint32_t{kColumns} * passed[column] - column * bytes[column];
    }
    const auto size = static_cast<std::uint32_t>(count * kColumns);
    return {(sums.a + a) % kModulus, (sums.b + size * sums.a + b) % kModulus};
}

Sums addAllRows(Sums sums, const unsigned char* rows, std::size_t count) {
    for (; count >= kRows; count -= kRows, rows += kRows * kColumns) sums = addRows(sums, rows, kRows);
    return addRows(sums, rows, count);
}

// Built once more, from the same source, for processors with wider vectors; chosen when the program runs.
#if defined(__GNUC__) && defined(__x86_64__)
[[gnu::target("avx2"), gnu::flatten]] Sums addAllRowsWide(Sums sums, const unsigned char* rows, std::size_t count) {
    return addAllRows(sums, rows, count);
}
bool isWide() { return __builtin_cpu_supports("avx2"); }
#else
constexpr auto addAllRowsWide = addAllRows;
constexpr bool isWide() { return false; }
#endif

}  // namespace

std::uint32_t adler32(Bytes content, std::uint32_t before) {
    const std::size_t rows = content.size() / kColumns;
    Sums sums{before & 0xFFFF, before >> 16};
    if (rows > 0) sums = (isWide() ? addAllRowsWide : addAllRows)(sums, content.data(), rows);
    for (const unsigned char byte : content.subspan(rows * kColumns)) {
        sums.a += byte;
        sums.b += sums.a;
    }
    return sums.b % kModulus << 16 | sums.a % kModulus;
}

}  // namespace qor::impl
