// The list of known targets: servers found by the broadcast search and those remembered from
// earlier runs, kept in the settings store under TargetList.
#pragma once

#include <QString>
#include <QStringList>
#include <QVector>
#include <cstdint>
#include <functional>

// One line of the list, with the columns the connection dialog shows.
struct STargetEntry
{
    QString strAddress;    // "%d.%d.%d.%d"
    QString strDeviceID;   // "%04Xh"
    QString strVendorID;   // "%04Xh"
    QString strShortID;    // "%d"
    QString strLongID;     // "%d", or "X" when the target has no large DestID
    QString strProt;       // "TCP", "UDP", "" or "?"
    QString strStatus;     // "Ready", "Busy", "Not Avail", "Unknown", or empty for a remembered one
    bool bChecked = false; // answered the last search

    // The address in host order, 0 if the text is not one.
    uint32_t Address() const;
    bool IsUDP() const { return strProt == QLatin1String("UDP"); }
};

class CTargetList
{
public:
    // Column headings of the list.
    static QStringList Columns();
    // The stored form of an entry, and back (false for a string that lacks one of its 10 fields).
    static QString ToStoredString(const STargetEntry& entry);
    static bool FromStoredString(const QString& strStored, STargetEntry* pEntry);

    // Reads the list from the settings store; entries that do not parse are skipped.
    void Load();
    // Writes it back if something changed since it was loaded.
    void SaveIfChanged();

    // Broadcasts the identify request and collects the answers until none has come for the
    // search time. setTitle gets the dialog's title as the search starts and ends. Returns false
    // if the broadcast could not be sent or a broken answer ended the search early.
    bool Search(const std::function<void(const QString&)>& setTitle = {});
    // Removes a line and marks the list changed.
    void Remove(int nIndex);

    const QVector<STargetEntry>& Entries() const { return m_entries; }
    bool Changed() const { return m_bChanged; }

private:
    // Index of the line of an address, adding an empty one at the end if there is none.
    int LineOf(const QString& strAddress);

    QVector<STargetEntry> m_entries;
    bool m_bChanged = false;
};
