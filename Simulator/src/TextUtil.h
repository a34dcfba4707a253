// Number and word parsing shared by the topology reader and the fault options.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace nvsim::text
{
// A decimal number or a 0x-prefixed hexadecimal one, optionally negative; the whole text
// must be the number.
bool ParseNumber(std::string_view text, int64_t* pValue);
// An unsigned number no larger than ulMax.
bool ParseUnsigned(std::string_view text, uint64_t ullMax, uint64_t* pValue);
// A size: a number optionally followed by K or M (binary multiples).
bool ParseSize(std::string_view text, uint64_t* pValue);
// Splits at every occurrence of chSeparator.
std::vector<std::string> Split(std::string_view text, char chSeparator);
// Splits "KEY=VALUE" into its halves; a word without '=' gives an empty value.
void KeyValue(std::string_view word, std::string* pKey, std::string* pValue);
} // namespace nvsim::text
