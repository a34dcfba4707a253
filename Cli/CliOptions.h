// Option parsing shared by the commands of norvanta-cli.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

// Splits a command's words into positional words and --options. Options listed as taking a
// value consume the next word.
class CCliOptions
{
public:
    CCliOptions(const std::vector<std::string>& args, const std::vector<std::string>& valueOptions,
                const std::vector<std::string>& flagOptions);

    // False when a word names an unknown option or a value is missing; Error() says which.
    bool Ok() const { return m_strError.empty(); }
    const std::string& Error() const { return m_strError; }

    const std::vector<std::string>& Positional() const { return m_positional; }
    bool Has(const std::string& strOption) const;
    // The value of an option, or an empty string (the last one when it is given more than once).
    std::string Value(const std::string& strOption) const;
    // Every value of an option given more than once, in order.
    std::vector<std::string> Values(const std::string& strOption) const;
    // A number by the number entry rule; false (and a message on stderr) when the text is not one
    // or exceeds ulMax. An absent option leaves *pValue as it was and is true.
    bool Number(const std::string& strOption, uint64_t ulMax, uint64_t* pValue) const;

private:
    std::vector<std::string> m_positional;
    std::vector<std::pair<std::string, std::string>> m_values;
    std::string m_strError;
};

// Parses one number by the number entry rule; prints "Invalid data entry." with the text on
// failure.
bool CliNumber(const std::string& strText, uint64_t ulMax, uint64_t* pValue);

// Prints "usage: norvanta-cli " and a command's usage line to standard error; returns the exit
// status of bad usage, 2.
int CliUsage(const char* pszUsage);
