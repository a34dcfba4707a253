// The map options: which facts the map shows beside its PEs and links. Two sets of the same
// flags are kept, one for the window and one for printing, under the keys View... and Print...
// of the section Preferences. Also the label texts that follow from them.
#pragma once

#include <QString>
#include <QStringList>

#include <array>
#include <cstdint>

class CNetworkDocument;
class CPEPrimitive;

enum EMapOption
{
    eOptDeviceIDs,
    eOptVDIDs,
    eOptVendorIDs,
    eOptNodeIDs,
    eOptDestIDs,
    eOptPortNumbers,
    eOptCommonNames,
    eOptFaultIndicators,
    eOptVisualRoutes,
    eOptPortWidths,
    eOptPortSpeeds,
    eMapOptionCount
};

struct SMapOptions
{
    std::array<bool, eMapOptionCount> abFlags{};

    bool operator[](EMapOption eOption) const { return abFlags[static_cast<size_t>(eOption)]; }
    bool& operator[](EMapOption eOption) { return abFlags[static_cast<size_t>(eOption)]; }

    // The set of the window or of printing, from the preferences.
    static SMapOptions Load(bool bPrinting);
    void Save(bool bPrinting) const;
};

// "ViewDeviceIDs", "PrintPortSpeeds" and so on.
QString MapOptionKey(EMapOption eOption, bool bPrinting);
// The option's name in the Labels dialog.
QString MapOptionText(EMapOption eOption);
// Whether the option is on in a store that has never been written.
bool MapOptionDefault(EMapOption eOption);

// The lines under a PE's icon by the options.
QStringList PELabelLines(const CPEPrimitive& pe, const SMapOptions& options);
// The width of a port as the map shows it: "%dx", or empty when unknown.
QString PortWidthText(uint8_t uchWidth);
// The speed of a port as the map shows it, or empty when unknown.
QString PortSpeedText(uint32_t uSpeedMHz);
// Fills the label lines of every PE node of the current view.
void RefreshLabels(CNetworkDocument& document, const SMapOptions& options);
