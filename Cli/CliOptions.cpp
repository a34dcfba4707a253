#include "CliOptions.h"

#include "NumberText.h"

#include <algorithm>
#include <cstdio>

CCliOptions::CCliOptions(const std::vector<std::string>& args, const std::vector<std::string>& valueOptions,
                         const std::vector<std::string>& flagOptions)
{
    for (size_t i = 0; i < args.size(); ++i)
    {
        const std::string& strWord = args[i];
        if (strWord.size() > 2 && strWord.compare(0, 2, "--") == 0)
        {
            if (std::find(valueOptions.begin(), valueOptions.end(), strWord) != valueOptions.end())
            {
                if (i + 1 >= args.size())
                {
                    m_strError = "option " + strWord + " needs a value";
                    return;
                }
                m_values.emplace_back(strWord, args[++i]);
            }
            else if (std::find(flagOptions.begin(), flagOptions.end(), strWord) != flagOptions.end())
            {
                m_values.emplace_back(strWord, std::string());
            }
            else
            {
                m_strError = "unknown option " + strWord;
                return;
            }
        }
        else
        {
            m_positional.push_back(strWord);
        }
    }
}

bool CCliOptions::Has(const std::string& strOption) const
{
    return std::any_of(m_values.begin(), m_values.end(),
                       [&](const auto& value) { return value.first == strOption; });
}

std::string CCliOptions::Value(const std::string& strOption) const
{
    for (auto it = m_values.rbegin(); it != m_values.rend(); ++it)
    {
        if (it->first == strOption)
        {
            return it->second;
        }
    }
    return {};
}

std::vector<std::string> CCliOptions::Values(const std::string& strOption) const
{
    std::vector<std::string> values;
    for (const auto& [strName, strValue] : m_values)
    {
        if (strName == strOption)
        {
            values.push_back(strValue);
        }
    }
    return values;
}

bool CCliOptions::Number(const std::string& strOption, uint64_t ulMax, uint64_t* pValue) const
{
    if (!Has(strOption))
    {
        return true;
    }
    return CliNumber(Value(strOption), ulMax, pValue);
}

bool CliNumber(const std::string& strText, uint64_t ulMax, uint64_t* pValue)
{
    if (!NumberFromText(QString::fromStdString(strText), ulMax, pValue))
    {
        std::fprintf(stderr, "%s '%s'\n", InvalidEntryText().toLocal8Bit().constData(), strText.c_str());
        return false;
    }
    return true;
}

int CliUsage(const char* pszUsage)
{
    std::fprintf(stderr, "usage: norvanta-cli %s\n", pszUsage);
    return 2;
}
