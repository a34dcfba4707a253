#include "DeviceInfo.h"

#include "InstallPaths.h"
#include "PETypes.h"
#include "UserInterface.h"

#include <QDomDocument>
#include <QFile>
#include <QFileInfo>

#include <cstdio>

uint32_t PETypeFromText(const QString& strText)
{
    if (strText == QLatin1String("Unknown"))
    {
        return kPETypeUnknown;
    }
    if (strText == QLatin1String("Null"))
    {
        return kPETypeNull;
    }
    uint32_t uType = 0;
    if (strText.contains(QLatin1Char('S')))
    {
        uType |= kPETypeSwitch;
    }
    if (strText.contains(QLatin1Char('B')))
    {
        uType |= kPETypeBridge;
    }
    if (strText.contains(QLatin1Char('M')))
    {
        uType |= kPETypeMemory;
    }
    if (strText.contains(QLatin1Char('P')))
    {
        uType |= kPETypeProcessor;
    }
    return uType;
}

QString PETypeToText(uint32_t uType)
{
    if (uType == kPETypeUnknown)
    {
        return QStringLiteral("Unknown");
    }
    if (uType == kPETypeNull)
    {
        return QStringLiteral("Null");
    }
    QString strText;
    if (uType & kPETypeProcessor)
    {
        strText += QLatin1Char('P');
    }
    if (uType & kPETypeBridge)
    {
        strText += QLatin1Char('B');
    }
    if (uType & kPETypeMemory)
    {
        strText += QLatin1Char('M');
    }
    if (uType & kPETypeSwitch)
    {
        strText += QLatin1Char('S');
    }
    return strText;
}

QString CDeviceInfo::DeviceFileBase(int iRank, uint16_t wDevice, uint16_t wVendor)
{
    return ModuleDirectory() + QString::asprintf("%d_%04X%04X", iRank, wDevice, wVendor);
}

QString CDeviceInfo::GenericFileBase(bool bSwitch)
{
    return ModuleDirectory() + (bSwitch ? QStringLiteral("0_FFFFFFFE") : QStringLiteral("0_FFFFFFFF"));
}

bool CDeviceInfo::DeviceFilesExist(uint16_t wDevice, uint16_t wVendor, bool* pbEnciphered, int* piRank)
{
    for (int iRank = kMaxRank; iRank >= 0; --iRank)
    {
        const QString strBase = DeviceFileBase(iRank, wDevice, wVendor);
        if (!QFileInfo::exists(strBase + QStringLiteral(".nvi")))
        {
            continue;
        }
        // The highest rank with an .nvi decides, whether or not its register file is there.
        bool bEnciphered = false;
        if (QFileInfo::exists(strBase + QStringLiteral(".envr")))
        {
            bEnciphered = true;
        }
        else if (!QFileInfo::exists(strBase + QStringLiteral(".nvr")))
        {
            return false;
        }
        if (pbEnciphered)
        {
            *pbEnciphered = bEnciphered;
        }
        if (piRank)
        {
            *piRank = iRank;
        }
        return true;
    }
    return false;
}

bool CDeviceInfo::LoadForDevice(uint16_t wDevice, uint16_t wVendor, bool bSwitch)
{
    // Only ranks 1 and 0 are loaded here, although higher ranks make a device known.
    for (int iRank = 1; iRank >= 0; --iRank)
    {
        const QString strPath = DeviceFileBase(iRank, wDevice, wVendor) + QStringLiteral(".nvi");
        if (QFileInfo::exists(strPath))
        {
            return Load(strPath);
        }
    }
    const QString strGeneric = GenericFileBase(bSwitch) + QStringLiteral(".nvi");
    if (!QFileInfo::exists(strGeneric))
    {
        return Fail(QStringLiteral("The generic device file is missing."));
    }
    return Load(strGeneric);
}

QString CDeviceInfo::GetTOCEntry(int i) const
{
    return i >= 0 && i < iNumTOCEntries ? TOCEntries[static_cast<size_t>(i)] : QString();
}

int CDeviceInfo::GetTOCType(int i) const
{
    return i >= 0 && i < iNumTOCEntries ? TOCTypes[static_cast<size_t>(i)] : eTOCNone;
}

bool CDeviceInfo::Fail(const QString& strMessage)
{
    m_strError = strMessage;
    ShowMessage(strMessage);
    return false;
}

bool CDeviceInfo::Load(const QString& strPath)
{
    m_strError.clear();
    QFile file(strPath);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text))
    {
        return Fail(QStringLiteral("Unable to read comments from file."));
    }
    // The comments stand on the lines right after the XML declaration.
    Comments.clear();
    file.readLine();
    while (!file.atEnd())
    {
        const QString strLine = QString::fromUtf8(file.readLine()).trimmed();
        if (!strLine.startsWith(QLatin1String("<!--")) || !strLine.endsWith(QLatin1String("-->")) ||
            strLine.size() < 7)
        {
            break;
        }
        Comments += strLine.mid(4, strLine.size() - 7).trimmed() + QLatin1Char('\n');
    }
    file.seek(0);
    const QByteArray text = file.readAll();
    file.close();

    QDomDocument document;
    QString strReason;
    int iLine = 0;
    int iColumn = 0;
    if (!document.setContent(text, &strReason, &iLine, &iColumn))
    {
        return Fail(QStringLiteral("Error parsing file ") +
                    QString::asprintf("%s (line %d, column %d)", qPrintable(strReason), iLine, iColumn));
    }
    const QDomElement root = document.documentElement();
    if (root.isNull())
    {
        return Fail(QStringLiteral("Document element is null."));
    }
    if (root.tagName() != QLatin1String("NorvantaDeviceInfo") ||
        !root.hasAttribute(QStringLiteral("Version")))
    {
        return Fail(
            QStringLiteral("The following support file has a bad or missing document version tag:\n\n%1")
                .arg(strPath));
    }
    int iMajor = 0;
    int iMinor = 0;
    if (std::sscanf(root.attribute(QStringLiteral("Version")).toLatin1().constData(), "%d.%d", &iMajor,
                    &iMinor) != 2)
    {
        return Fail(
            QStringLiteral("The following support file has a bad document version tag:\n\n%1").arg(strPath));
    }
    if (iMajor != 1 || iMinor != 3)
    {
        return Fail(
            QStringLiteral("Unsupported file version detected on the following support file:\n\n%1\n\n"
                           "Please install the latest version.")
                .arg(strPath));
    }
    bEnhancedAvail = root.attribute(QStringLiteral("EnhancedAvail")) == QLatin1String("Yes");

    const QDomElement bitmap = root.firstChildElement(QStringLiteral("BitmapFile"));
    if (bitmap.isNull())
    {
        return Fail(QStringLiteral("Invalid file format.  Missing BitmapFile\n\n%1").arg(strPath));
    }
    BitmapFile = bitmap.text().trimmed();
    CommonName = root.firstChildElement(QStringLiteral("CommonName")).text().trimmed();
    const QDomElement peType = root.firstChildElement(QStringLiteral("PEType"));
    if (peType.isNull())
    {
        return Fail(QStringLiteral("Invalid file format.  Missing PEType\n\n%1").arg(strPath));
    }
    uPEType = PETypeFromText(peType.text().trimmed());

    const QDomElement toc = root.firstChildElement(QStringLiteral("TOC"));
    if (toc.isNull())
    {
        return Fail(QStringLiteral("Invalid file format.  Can't find TOC\n\n%1").arg(strPath));
    }
    QDomElement entry = toc.firstChildElement(QStringLiteral("TOCEntry"));
    if (entry.isNull())
    {
        return Fail(QStringLiteral("Invalid file format.  Can't find TOCEntry\n\n%1").arg(strPath));
    }
    TOCEntries.clear();
    TOCTypes.clear();
    iNumTOCEntries = 0;
    for (; !entry.isNull() && iNumTOCEntries < kMaxTOCEntries;
         entry = entry.nextSiblingElement(QStringLiteral("TOCEntry")))
    {
        if (!entry.hasAttribute(QStringLiteral("Type")))
        {
            return Fail(
                QStringLiteral(
                    "Invalid file format.  Bad or missing 'Type' attribute on TOCEntry element.\n\n%1")
                    .arg(strPath));
        }
        const QString strType = entry.attribute(QStringLiteral("Type"));
        int eType = eTOCNone;
        if (strType == QLatin1String("Register"))
        {
            eType = eTOCRegister;
        }
        else if (strType == QLatin1String("I2C"))
        {
            eType = eTOCI2C;
        }
        else
        {
            return Fail(
                QStringLiteral("Invalid file format.  Invalid Type attribute on TOCEntry element.\n\n%1")
                    .arg(strPath));
        }
        TOCEntries.push_back(entry.text().trimmed());
        TOCTypes.push_back(eType);
        ++iNumTOCEntries;
    }
    return true;
}
