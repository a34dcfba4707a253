#include "MapOptions.h"

#include "NetworkDocument.h"
#include "Preferences.h"

#include <QHash>

namespace
{
struct SOptionName
{
    const char* pszKey;
    const char* pszText;
    bool bDefault;
};

// Key suffixes as the store names them (the fault indicators' key is spelt that way), the
// dialog's texts, and what a new user sees: names, node numbers, IDs and port numbers.
constexpr SOptionName kOptions[eMapOptionCount] = {
    {"DeviceIDs", "Device IDs", false},          {"VDIDs", "VDIDs", false},
    {"VendorIDs", "Vendor IDs", false},          {"NodeIDs", "Node IDs", true},
    {"DestinationIDs", "Destination IDs", true}, {"PortNumbers", "Port Numbers", true},
    {"CommonNames", "Common Names", true},       {"Faultindicators", "Fault Indicators", true},
    {"VisualRoutes", "Visual Routes", false},    {"PortWidths", "Port Widths", false},
    {"PortSpeeds", "Port Speeds", false},
};
} // namespace

QString MapOptionKey(EMapOption eOption, bool bPrinting)
{
    return QLatin1String(bPrinting ? "Print" : "View") + QLatin1String(kOptions[eOption].pszKey);
}

QString MapOptionText(EMapOption eOption)
{
    return QLatin1String(kOptions[eOption].pszText);
}

bool MapOptionDefault(EMapOption eOption)
{
    return kOptions[eOption].bDefault;
}

SMapOptions SMapOptions::Load(bool bPrinting)
{
    SMapOptions options;
    for (int i = 0; i < eMapOptionCount; ++i)
    {
        const auto eOption = static_cast<EMapOption>(i);
        options[eOption] = GetPreference(QStringLiteral("Preferences"), MapOptionKey(eOption, bPrinting),
                                         MapOptionDefault(eOption) ? 1u : 0u) != 0;
    }
    return options;
}

void SMapOptions::Save(bool bPrinting) const
{
    for (int i = 0; i < eMapOptionCount; ++i)
    {
        const auto eOption = static_cast<EMapOption>(i);
        SetPreference(QStringLiteral("Preferences"), MapOptionKey(eOption, bPrinting),
                      (*this)[eOption] ? 1u : 0u);
    }
}

QStringList PELabelLines(const CPEPrimitive& pe, const SMapOptions& options)
{
    QStringList lines;
    if (options[eOptCommonNames])
    {
        lines << (pe.CommonName.isEmpty() ? pe.GetTypeString() : pe.CommonName);
    }
    if (options[eOptNodeIDs])
    {
        lines << QString::asprintf("Node %d", pe.iNodeNumber + 1);
    }
    if (options[eOptDestIDs] && pe.bUsesDestID && pe.GetDestID() != kNoDestID)
    {
        lines << QString::asprintf("ID: %Xh", pe.GetDestID());
    }
    if (options[eOptDeviceIDs] && pe.uType != kPETypeNull)
    {
        lines << QString::asprintf("Dev: %04Xh", pe.DeviceID);
    }
    if (options[eOptVendorIDs] && pe.uType != kPETypeNull)
    {
        lines << QString::asprintf("Ven: %04Xh", pe.ManufID);
    }
    if (options[eOptVDIDs] && pe.GetNumVDIDs() > 0)
    {
        QStringList ids;
        uint16_t wID = 0;
        int iCursor = 0;
        for (bool bMore = pe.GetFirstVDID(&wID, &iCursor); bMore; bMore = pe.GetNextVDID(&wID, &iCursor))
        {
            ids << QString::asprintf("%Xh", wID);
        }
        lines << QStringLiteral("VDID: ") + ids.join(QStringLiteral(", "));
    }
    return lines;
}

QString PortWidthText(uint8_t uchWidth)
{
    return uchWidth == 0xFF || uchWidth == 0 ? QString() : QString::asprintf("%dx", uchWidth);
}

QString PortSpeedText(uint32_t uSpeedMHz)
{
    return uSpeedMHz == 0 ? QString() : QString::asprintf("%gG", uSpeedMHz / 1000.0);
}

void RefreshLabels(CNetworkDocument& document, const SMapOptions& options)
{
    QHash<int, const CPEPrimitive*> byNode;
    for (const auto& pPE : *document.pCurrentPEs)
    {
        byNode.insert(pPE->iNodeNumber, pPE.get());
    }
    for (const auto& pNode : *document.pCurrentNodes)
    {
        if (pNode->eKind != eDrawKindPE)
        {
            continue;
        }
        auto& node = static_cast<CDrawPE&>(*pNode);
        if (const CPEPrimitive* pPE = byNode.value(node.iAssociatedPrimitive))
        {
            node.TextLines = PELabelLines(*pPE, options);
        }
    }
}
