// Register search ("Find Registers"): what counts as a hit among the items of register trees, and
// the walk to the next hit, over one device's tree or over every PE of a map in node order. The
// walk reads the trees from the register library, so a PE whose node was never opened in the
// browser is searched all the same.
#pragma once

#include "RegisterTree.h"

#include <QString>

#include <memory>
#include <regex>
#include <vector>

class CNetworkDocument;

// The options of a search, as the find dialog keeps them.
struct SRegisterSearchOptions
{
    bool bMatchCase = false;
    bool bUseRegEx = false;
    bool bSearchRegNames = true;  // "Register Names"
    bool bSearchTitles = true;    // "Group Titles": block and set titles
    bool bSearchOffsets = true;   // "Register Offsets (hex)"
    bool bSearchBitfields = true; // "Bitfield Names"
};

// The text of a regular expression error, as searches report a bad pattern.
QString RegexErrorText(std::regex_constants::error_type eError);

// Where a hit across a map lies: a PE's node number and the position in its register tree.
struct SRegisterSearchPlace
{
    int iNode = -1;
    int iItem = -1; // -1: before the PE's first item
};

class CRegisterSearch
{
public:
    // Takes the text and options; false with Error() when there is nothing to search for ("No
    // search string provided."), no scope is on ("Nothing to search.") or a regular expression
    // doesn't compile (its error's text).
    bool SetPattern(const QString& strText, const SRegisterSearchOptions& options);
    QString Error() const { return m_strError; }

    // Whether an item is a hit by its kind: a title, or a register by name, offset or field names.
    // pstrWhat, when given, says what matched ("name", "offset", or "field NAME, NAME").
    bool Matches(const SRegisterTreeItem& item, QString* pstrWhat = nullptr) const;
    // Position of the first hit after iAfter (-1 for the start), or -1.
    int FindNext(const std::vector<SRegisterTreeItem>& items, int iAfter) const;
    // Positions of every hit, in tree order.
    std::vector<int> FindAll(const std::vector<SRegisterTreeItem>& items) const;

    // The next hit after a place of a map, PE by PE in node order, or false with Error(): "Not
    // found." at the end, "Can't find next item in tree." when the place isn't in the map, or
    // the register library's message for a PE whose registers can't be read.
    bool FindNextInMap(const CNetworkDocument& document, const SRegisterSearchPlace& after,
                       SRegisterSearchPlace* pFound);

private:
    bool TextMatches(const QString& strText) const;

    SRegisterSearchOptions m_options;
    QString m_strText; // upper-cased unless the case matters
    std::unique_ptr<std::regex> m_pRegex;
    QString m_strError;
};
