#include "TextUtil.h"

#include <charconv>

namespace nvsim::text
{
bool ParseNumber(std::string_view text, int64_t* pValue)
{
    bool bNegative = false;
    if (!text.empty() && text.front() == '-')
    {
        bNegative = true;
        text.remove_prefix(1);
    }
    int nBase = 10;
    if (text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X'))
    {
        nBase = 16;
        text.remove_prefix(2);
    }
    uint64_t ullValue = 0;
    const auto [pEnd, ec] = std::from_chars(text.data(), text.data() + text.size(), ullValue, nBase);
    if (text.empty() || ec != std::errc() || pEnd != text.data() + text.size() || ullValue > INT64_MAX)
        return false;
    *pValue = bNegative ? -static_cast<int64_t>(ullValue) : static_cast<int64_t>(ullValue);
    return true;
}

bool ParseUnsigned(std::string_view text, uint64_t ullMax, uint64_t* pValue)
{
    int64_t llValue = 0;
    if (!ParseNumber(text, &llValue) || llValue < 0 || static_cast<uint64_t>(llValue) > ullMax)
        return false;
    *pValue = static_cast<uint64_t>(llValue);
    return true;
}

bool ParseSize(std::string_view text, uint64_t* pValue)
{
    uint64_t ullUnit = 1;
    if (!text.empty() && (text.back() == 'K' || text.back() == 'k'))
        ullUnit = 1024;
    else if (!text.empty() && (text.back() == 'M' || text.back() == 'm'))
        ullUnit = 1024 * 1024;
    if (ullUnit != 1)
        text.remove_suffix(1);
    uint64_t ullValue = 0;
    if (!ParseUnsigned(text, UINT32_MAX, &ullValue))
        return false;
    *pValue = ullValue * ullUnit;
    return true;
}

std::vector<std::string> Split(std::string_view text, char chSeparator)
{
    std::vector<std::string> parts;
    size_t nStart = 0;
    for (size_t i = 0; i <= text.size(); ++i)
    {
        if (i == text.size() || text[i] == chSeparator)
        {
            parts.emplace_back(text.substr(nStart, i - nStart));
            nStart = i + 1;
        }
    }
    return parts;
}

void KeyValue(std::string_view word, std::string* pKey, std::string* pValue)
{
    const size_t nEquals = word.find('=');
    *pKey = std::string(word.substr(0, nEquals));
    *pValue = nEquals == std::string_view::npos ? std::string() : std::string(word.substr(nEquals + 1));
}
} // namespace nvsim::text
