// The network map file (.nvm): writes a document line by line as version 1.7, and reads versions
// 1.0 to 1.7 from an element tree of the file (CXmlTree), picking every element by name. Reader and writer
// differ in a few places, which are kept because files in the field were written that way.
#pragma once

#include "XmlHelper.h"

#include <QByteArray>
#include <QString>

#include <cstdint>
#include <functional>

class CNetworkDocument;
class CXmlLineWriter;

// Where the map file takes the transport width (8 or 16 bits) from when writing, and hands the
// width read from a file to. The client installs the HAL front end's setting; without that the
// width lives in a variable of this library, 8 bits at start.
void SetMapTransportAccess(std::function<int()> pfnGetBits, std::function<void(int)> pfnSetBits);
int GetMapTransportBits();

class CNetworkMap
{
public:
    CNetworkMap() = default;
    virtual ~CNetworkMap() = default;

    // File dialog filter and default extension of map files.
    static QString FileFilter()
    {
        return QStringLiteral("Norvanta Network Map Files (*.nvm)|*.nvm|All Files|*.*||");
    }
    static QString DefaultExtension() { return QStringLiteral(".nvm"); }

    // Writes the document to its PathName. False when it has none or the file can't be written.
    bool SaveMap(CNetworkDocument& document);
    // Writes the document to a path and makes that the document's file. The file is written
    // beside the target and then replaces it, so a failed save leaves the old file whole.
    bool SaveMapAs(CNetworkDocument& document, const QString& strPath);
    // Reads a map file into the document, replacing what it held. On failure the user is told
    // why (where the format has a message for it) and the document is left empty.
    bool LoadMap(const QString& strPath, CNetworkDocument& document, bool bEnciphered);

    // The text of the file the writer makes for a document.
    QByteArray WriteMapText(const CNetworkDocument& document);
    // Reads a map from text as LoadMap does after reading the file.
    bool ReadMapText(const QByteArray& text, CNetworkDocument& document);

    // Why the last load or save failed; set also where the user isn't shown a message.
    QString LastError() const { return m_strError; }
    // Whether the last failure was shown to the user.
    bool LastErrorShown() const { return m_bErrorShown; }

    CXmlHelper Helper;
    uint32_t uVersion = 0;  // major in the high 16 bits, minor in the low 16
    int iTransportBits = 8; // 8 or 16

private:
    friend class CMapReader;
    void SetError(const QString& strText, bool bShow);
    // Writes the file's text for a document into out.
    void WriteMap(const CNetworkDocument& document, CXmlLineWriter& out);

    QString m_strError;
    bool m_bErrorShown = false;
};
