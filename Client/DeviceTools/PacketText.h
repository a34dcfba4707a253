// The text forms of packets shared by the packet tools and the command line: the packet list's
// line of bytes, the cells of the packet grids, and fields named by their captions.
#pragma once

#include <QString>
#include <QStringList>
#include <cstdint>
#include <vector>

class CRIOPacket;
class CRIOPacketField;

// The bytes as "%02X" each, a blank before every fourth byte but the first: "00A20011 22334455 6677".
QString PacketListString(const uint8_t* pbBytes, uint32_t nCount);
QString PacketListString(const std::vector<uint8_t>& bytes);
// The bytes of such a line: hex digits taken in pairs, every other character skipped, at most
// 1024 bytes; an odd last digit is dropped.
std::vector<uint8_t> ParsePacketListLine(const QString& strLine);

// A number typed into a grid cell: a text ending in B, H or D (either case) is taken as it stands,
// any other gets "h" added, so hexadecimal is the default. False for a malformed text or one above
// ulMax.
bool CellTextToNumber(const QString& strText, uint64_t ulMax, uint64_t* pValue);
// Takes a typed cell into a field's value (or mask): over 32 bits as a 64-bit number in nine bytes,
// lowest first (SetValueBytes/SetMaskBytes), else as 32 bits (SetValue/SetMask), with notification.
// False, and the field left alone, when the text is no number.
bool SetFieldFromCellText(CRIOPacketField& field, const QString& strText, bool bMask = false);

// The heading of a field's column: the caption, with "\n[n]" (its width) when it has bits and lies
// in the stream.
QString FieldHeadingText(const CRIOPacketField& field);
// The text of a field's value cell: "See below" for Data2 and for Data over 32 bits; Address as
// "%X%08X" (or "%X" when its high word is 0); else hexadecimal with (nBits + 3) / 4 digits.
QString FieldValueText(const CRIOPacketField& field);
// The same for the mask row.
QString FieldMaskText(const CRIOPacketField& field);

// A field's name as typed: the caption without line breaks and blanks ("DestID", "DataSize(bytes)").
QString FieldTypedName(const CRIOPacketField& field);
// Whether a typed name names the field: case, blanks and line breaks ignored; a parenthesised tail
// of the caption may be left out ("DataSize").
bool IsFieldName(const QString& strTyped, const CRIOPacketField& field);

// Lines "Caption: value" for each field of the packet's list, in wire order: line breaks of the
// caption as blanks, values as in the grid (with the pick list's text where there is one), the data
// fields as their bytes in the list form.
QStringList PacketFieldLines(const CRIOPacket& packet);
// The values a field takes as legal at present, for messages: "2 (Request Class), 5 (...)" or
// "0 to 255".
QString LegalValuesText(CRIOPacketField& field);

// One FIELD=VALUE of a packet typed out by name.
struct SPacketFieldText
{
    QString strName;
    QString strValue;
};

struct SPacketBuildResult
{
    enum EError
    {
        eNone,
        eUsage,   // an unknown field or a text that is no number
        eRefused, // a field not in the layout, an illegal value, data that doesn't fit
    };
    EError eError = eNone;
    QStringList messages; // one line each
};

// Builds a packet from fields given by name (see IsFieldName). The fields that decide the layout go
// first (TT and FType, Trans, Size and Data Size, Address and Register Address, wdptr), then the
// others, then Data (hex bytes in wire order, the whole data block; a class sized by Data Size
// takes its length unless Data Size is given), then CRC and Early CRC, which when given stand as
// given (automatic CRCs are turned off). A field not in the layout is refused, but for Size and
// wdptr of a maintenance response, which size its data. Values by the number entry rule. The 32-bit Ext Addr
// is written as bytes, since its SetValue keeps only 0; a 66-bit Address sets it from its bits 63:34. Every
// value is checked as the grid would colour it, the defaults left in place included.
SPacketBuildResult BuildPacketFromTexts(CRIOPacket& packet, const std::vector<SPacketFieldText>& fields);
