// Records and rows the table benchmarks share: the F0101 row they load and
// fetch, and builders for its fields.
#pragma once

#include <cstring>
#include <string>

#include "vyrdb.h"

namespace vdbbench {

#pragma pack(push, 1)
struct AddressRow {  // F0101, every column
  MATH_NUMERIC an8;
  JCHAR alky[21], tax[21], alph[41], at1[4], mcu[13], user[11], pid[11];
  VYRDATE upmj;
};
#pragma pack(pop)

// ASCII text into a JCHAR field, cut to its width and terminated.
template <size_t N>
void put(JCHAR (&field)[N], const std::string &text) {
  std::memset(field, 0, sizeof field);
  for (size_t i = 0; i < text.size() && i < N - 1; ++i) field[i] = static_cast<JCHAR>(text[i]);
}

// value / 10^decimals as a MATH_NUMERIC (value not negative).
inline MATH_NUMERIC integer(long long value, short decimals = 0) {
  MATH_NUMERIC m{};
  const std::string digits = std::to_string(value);
  std::memcpy(m.String, digits.data(), digits.size());
  m.nLength = static_cast<unsigned char>(digits.size());
  m.nDecimalPosition = decimals;
  return m;
}

// Address book row number i of the benchmark data.
inline AddressRow addressRow(int i) {
  AddressRow row{};
  row.an8 = integer(i);
  put(row.alky, "K" + std::to_string(i)), put(row.tax, "TX" + std::to_string(i * 7));
  put(row.alph, "Customer number " + std::to_string(i)), put(row.at1, "C");
  put(row.mcu, "BU" + std::to_string(i % 50)), put(row.user, "LOADER"), put(row.pid, "BENCH");
  row.upmj = VYRDATE{2024, static_cast<short>(i % 12 + 1), static_cast<short>(i % 28 + 1)};
  return row;
}

// Inserts address book rows 1 to `rows` through the handle; false when one is refused.
inline bool loadAddresses(HUSER loader, int rows) {
  HREQUEST request = nullptr;
  bool loaded = VDB_OpenTable(loader, u"F0101", 1, nullptr, 0, nullptr, &request) == 1;
  for (int i = 1; i <= rows && loaded; ++i) {
    const AddressRow row = addressRow(i);
    loaded = VDB_InsertTable(request, &row) == 1;
  }
  VDB_CloseTable(request);
  return loaded;
}

}  // namespace vdbbench
