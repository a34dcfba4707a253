#include "MemoryViewerWnd.h"

#include "ClientStatus.h"
#include "MainFrameCore.h"
#include "MapCommands.h"
#include "NetworkDocument.h"
#include "NumberText.h"
#include "Preferences.h"
#include "RouteSearch.h"
#include "StatusText.h"
#include "TargetClient.h"
#include "UserInterface.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QFontDatabase>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QHash>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSpinBox>
#include <QTableWidget>
#include <QVBoxLayout>

#include <algorithm>

namespace
{
const QString kPreferences = QStringLiteral("Preferences");

QHash<uint32_t, QPointer<CMemoryViewerWnd>>& OpenViewers()
{
    static QHash<uint32_t, QPointer<CMemoryViewerWnd>> s_viewers;
    return s_viewers;
}

bool ValidWordSize(uint32_t ulWordSize)
{
    return ulWordSize == 1 || ulWordSize == 2 || ulWordSize == 4;
}

QString Hex(uint64_t ullValue, int iDigits)
{
    return QStringLiteral("%1").arg(ullValue, iDigits, 16, QLatin1Char('0')).toUpper();
}

// A word typed into the hex grid: hexadecimal digits, with "0x" in front or "h" behind allowed,
// blanks and underscores dropped.
bool ParseHexWord(QString strText, uint32_t ulWordSize, uint32_t* pulValue, QString* pstrProblem)
{
    strText.remove(QLatin1Char(' ')).remove(QLatin1Char('_'));
    if (strText.startsWith(QLatin1String("0x"), Qt::CaseInsensitive))
    {
        strText = strText.mid(2);
    }
    else if (strText.endsWith(QLatin1Char('h'), Qt::CaseInsensitive))
    {
        strText.chop(1);
    }
    if (strText.isEmpty() || strText.size() > 16)
    {
        *pstrProblem = InvalidEntryText();
        return false;
    }
    uint64_t ullValue = 0;
    for (const QChar ch : strText)
    {
        const int iDigit = HexDigitValue(ch);
        if (iDigit < 0)
        {
            *pstrProblem = InvalidEntryText();
            return false;
        }
        ullValue = ullValue << 4 | static_cast<uint64_t>(iDigit);
    }
    const uint64_t ullMax = ulWordSize >= 4 ? 0xFFFFFFFFull : (1ull << (8 * ulWordSize)) - 1;
    if (ullValue > ullMax)
    {
        *pstrProblem = QStringLiteral("%1h does not fit in a word of %2 byte%3.")
                           .arg(Hex(ullValue, 1))
                           .arg(ulWordSize)
                           .arg(ulWordSize == 1 ? QString() : QStringLiteral("s"));
        return false;
    }
    *pulValue = static_cast<uint32_t>(ullValue);
    return true;
}

QString Plural(uint32_t ulCount, const char* pszWord)
{
    return QStringLiteral("%1 %2%3").arg(ulCount).arg(QLatin1String(pszWord)).arg(ulCount == 1 ? "" : "s");
}
} // namespace

// ---------------------------------------------------------------------------------------------
// Settings

QString SMemoryViewSettings::Problem() const
{
    if (ulNumBytes == 0 || ulNumBytes > kMaxMemoryViewBytes)
    {
        return QStringLiteral("Invalid NumBytes.  Max allowed is 4096.");
    }
    if (!ValidWordSize(ulWordSize))
    {
        return QStringLiteral("The word size must be 1, 2 or 4 bytes.");
    }
    if (ulNumColumns == 0 || ulNumColumns > kMaxMemoryViewColumns)
    {
        return QStringLiteral("The number of columns must lie from 1 to %1.").arg(kMaxMemoryViewColumns);
    }
    if (ullAddress % ulWordSize != 0)
    {
        return QStringLiteral("The address must be a multiple of the word size (%1).").arg(ulWordSize);
    }
    if (ullAddress > ~0ull - (ulNumBytes - 1))
    {
        return QStringLiteral("The memory shown would run past the end of the 64-bit address space.");
    }
    return QString();
}

SMemoryViewSettings SMemoryViewSettings::Load()
{
    SMemoryViewSettings settings;
    uint64_t ullAddress = 0;
    if (NumberFromText(GetPreference(kPreferences, QStringLiteral("MemViewAddress"), QStringLiteral("0h")),
                       &ullAddress))
    {
        settings.ullAddress = ullAddress;
    }
    settings.ulNumBytes = GetPreference(kPreferences, QStringLiteral("MemViewBytes"), 256u);
    settings.ulWordSize = GetPreference(kPreferences, QStringLiteral("MemViewWordSize"), 4u);
    settings.bBigEndian = GetPreference(kPreferences, QStringLiteral("MemViewBigEndian"), 1u) != 0;
    settings.ulNumColumns = GetPreference(kPreferences, QStringLiteral("MemViewColumns"), 4u);
    settings.bShowAscii = GetPreference(kPreferences, QStringLiteral("MemViewAscii"), 1u) != 0;
    // A store edited by hand falls back on the defaults.
    if (!settings.Problem().isEmpty())
    {
        settings = SMemoryViewSettings();
    }
    return settings;
}

void SMemoryViewSettings::Save() const
{
    SetPreference(kPreferences, QStringLiteral("MemViewAddress"), NumberToText(ullAddress, 16, true));
    SetPreference(kPreferences, QStringLiteral("MemViewBytes"), ulNumBytes);
    SetPreference(kPreferences, QStringLiteral("MemViewWordSize"), ulWordSize);
    SetPreference(kPreferences, QStringLiteral("MemViewBigEndian"), bBigEndian ? 1u : 0u);
    SetPreference(kPreferences, QStringLiteral("MemViewColumns"), ulNumColumns);
    SetPreference(kPreferences, QStringLiteral("MemViewAscii"), bShowAscii ? 1u : 0u);
}

// ---------------------------------------------------------------------------------------------
// Access through the target front end

int32_t NodeMemoryAccess(const CNetworkDocument& document, uint32_t ulNode, uint32_t ulWordSize,
                         SMemoryAccess* pAccess)
{
    const CPEPrimitive* pPE = document.pCurrentPEs->GetByNodeNumber(static_cast<int>(ulNode));
    if (!pPE)
    {
        return eRioNodeNotFound;
    }
    if (pPE->bHasHostLink && pPE->bHostLinkOpen)
    {
        // The server host's own memory, in words of the view's size so that a memory-mapped
        // register sees the access it expects.
        pAccess->read = [ulWordSize](uint64_t ullAddress, uint8_t* pbData, uint32_t ulBytes)
        {
            return CTargetClient::Instance().MemRead(static_cast<uint32_t>(ullAddress >> 32),
                                                     static_cast<uint32_t>(ullAddress), ulBytes / ulWordSize,
                                                     ulWordSize, pbData);
        };
        pAccess->write = [ulWordSize](uint64_t ullAddress, const uint8_t* pbData, uint32_t ulBytes)
        {
            return CTargetClient::Instance().MemWrite(static_cast<uint32_t>(ullAddress >> 32),
                                                      static_cast<uint32_t>(ullAddress), ulBytes / ulWordSize,
                                                      ulWordSize, pbData);
        };
        pAccess->strWhere = QStringLiteral("server host memory");
        return eRioOk;
    }
    if (!pPE->bUsesDestID || pPE->GetDestID() == kNoDestID)
    {
        return kNoRouteStatus;
    }
    const uint32_t ulDestID = pPE->GetDestID();
    pAccess->read = [ulDestID](uint64_t ullAddress, uint8_t* pbData, uint32_t ulBytes)
    {
        return CTargetClient::Instance().Nread(0, ulDestID, static_cast<uint32_t>(ullAddress >> 32),
                                               static_cast<uint32_t>(ullAddress), 0, 0, pbData, ulBytes);
    };
    // NWRITE_R, so that a write that went nowhere says so.
    pAccess->write = [ulDestID](uint64_t ullAddress, const uint8_t* pbData, uint32_t ulBytes)
    {
        return CTargetClient::Instance().DataWrite(0, ulDestID, static_cast<uint32_t>(ullAddress >> 32),
                                                   static_cast<uint32_t>(ullAddress), 2, 0, pbData, ulBytes);
    };
    pAccess->strWhere = QStringLiteral("DestID %1h").arg(Hex(ulDestID, pPE->bLargeTransport ? 4 : 2));
    return eRioOk;
}

// ---------------------------------------------------------------------------------------------
// The image

CMemoryImage::CMemoryImage(const SMemoryViewSettings& settings)
    : m_settings(settings), m_bytes(static_cast<qsizetype>(WordCount() * settings.ulWordSize), '\0')
{
}

uint32_t CMemoryImage::WordCount() const
{
    const uint32_t ulWordSize = std::max(m_settings.ulWordSize, 1u);
    return (m_settings.ulNumBytes + ulWordSize - 1) / ulWordSize;
}

uint32_t CMemoryImage::RowCount() const
{
    const uint32_t ulColumns = std::max(m_settings.ulNumColumns, 1u);
    return (WordCount() + ulColumns - 1) / ulColumns;
}

uint64_t CMemoryImage::RowAddress(uint32_t ulRow) const
{
    return m_settings.ullAddress + uint64_t{ulRow} * m_settings.ulNumColumns * m_settings.ulWordSize;
}

int CMemoryImage::WordIndex(uint32_t ulRow, uint32_t ulColumn) const
{
    if (ulColumn >= m_settings.ulNumColumns)
    {
        return -1;
    }
    const uint64_t ullWord = uint64_t{ulRow} * m_settings.ulNumColumns + ulColumn;
    return ullWord < WordCount() ? static_cast<int>(ullWord) : -1;
}

uint64_t CMemoryImage::WordAddress(uint32_t ulWord) const
{
    return m_settings.ullAddress + uint64_t{ulWord} * m_settings.ulWordSize;
}

uint32_t CMemoryImage::WordValue(uint32_t ulWord) const
{
    uint32_t ulValue = 0;
    const uint32_t ulSize = m_settings.ulWordSize;
    for (uint32_t i = 0; i < ulSize; ++i)
    {
        const uint32_t ulByte = m_settings.bBigEndian ? i : ulSize - 1 - i;
        ulValue =
            ulValue << 8 | static_cast<uint8_t>(m_bytes[static_cast<qsizetype>(ulWord * ulSize + ulByte)]);
    }
    return ulValue;
}

QByteArray CMemoryImage::WordBytes(uint32_t ulValue) const
{
    const uint32_t ulSize = m_settings.ulWordSize;
    QByteArray bytes(static_cast<qsizetype>(ulSize), '\0');
    for (uint32_t i = 0; i < ulSize; ++i)
    {
        // Byte i counted from the least significant end.
        const uint32_t ulAt = m_settings.bBigEndian ? ulSize - 1 - i : i;
        bytes[static_cast<qsizetype>(ulAt)] = static_cast<char>((ulValue >> (8 * i)) & 0xFF);
    }
    return bytes;
}

void CMemoryImage::SetWordValue(uint32_t ulWord, uint32_t ulValue)
{
    const QByteArray bytes = WordBytes(ulValue);
    m_bytes.replace(static_cast<qsizetype>(ulWord * m_settings.ulWordSize), bytes.size(), bytes);
}

QString CMemoryImage::WordText(uint32_t ulWord) const
{
    return Hex(WordValue(ulWord), static_cast<int>(2 * m_settings.ulWordSize));
}

QString CMemoryImage::AsciiText(uint32_t ulRow) const
{
    QString strText;
    const uint32_t ulRowBytes = m_settings.ulNumColumns * m_settings.ulWordSize;
    const uint64_t ullFirst = uint64_t{ulRow} * ulRowBytes;
    for (uint64_t i = ullFirst; i < ullFirst + ulRowBytes && i < static_cast<uint64_t>(m_bytes.size()); ++i)
    {
        const auto ch = static_cast<uint8_t>(m_bytes[static_cast<qsizetype>(i)]);
        strText += ch >= 0x20 && ch < 0x7F ? QChar(ch) : QLatin1Char('.');
    }
    return strText;
}

QString CMemoryImage::AddressText(uint64_t ullAddress)
{
    return Hex(ullAddress >> 32, 8) + QLatin1Char(' ') + Hex(ullAddress & 0xFFFFFFFFu, 8);
}

// ---------------------------------------------------------------------------------------------
// The window

CMemoryViewerWnd::CMemoryViewerWnd(uint32_t ulNode, SMemoryAccess access, const SMemoryViewSettings& settings,
                                   QWidget* pParent)
    : QWidget(pParent, Qt::Window), m_ulNode(ulNode), m_access(std::move(access)), m_image(settings)
{
    setAttribute(Qt::WA_DeleteOnClose);
    setObjectName(QStringLiteral("MemoryViewer"));
    SetAccess(m_access);

    m_pAddress = new QLineEdit(this);
    m_pAddress->setToolTip(QStringLiteral("The first address shown: 1000h or 0x1000 for hexadecimal"));
    m_pAddress->setMinimumWidth(fontMetrics().horizontalAdvance(QStringLiteral("0xFFFFFFFFFFFFFFFF")) + 16);
    m_pBytes = new QSpinBox(this);
    m_pBytes->setRange(1, static_cast<int>(kMaxMemoryViewBytes));
    m_pWordSize = new QComboBox(this);
    m_pWordSize->addItem(QStringLiteral("1 byte"), 1);
    m_pWordSize->addItem(QStringLiteral("2 bytes"), 2);
    m_pWordSize->addItem(QStringLiteral("4 bytes"), 4);
    m_pEndian = new QComboBox(this);
    m_pEndian->addItem(QStringLiteral("Big endian"), true);
    m_pEndian->addItem(QStringLiteral("Little endian"), false);
    m_pColumns = new QSpinBox(this);
    m_pColumns->setRange(1, static_cast<int>(kMaxMemoryViewColumns));
    m_pAscii = new QCheckBox(QStringLiteral("ASCII"), this);
    m_pRefresh = new QPushButton(QStringLiteral("Refresh"), this);
    m_pRefresh->setDefault(true);

    auto* pControls = new QHBoxLayout;
    auto label = [this](const char* pszText, QWidget* pBuddy)
    {
        auto* pLabel = new QLabel(QString::fromLatin1(pszText), this);
        pLabel->setBuddy(pBuddy);
        return pLabel;
    };
    pControls->addWidget(label("&Address:", m_pAddress));
    pControls->addWidget(m_pAddress, 1);
    pControls->addWidget(label("&Bytes:", m_pBytes));
    pControls->addWidget(m_pBytes);
    pControls->addWidget(label("&Word:", m_pWordSize));
    pControls->addWidget(m_pWordSize);
    pControls->addWidget(m_pEndian);
    pControls->addWidget(label("&Columns:", m_pColumns));
    pControls->addWidget(m_pColumns);
    pControls->addWidget(m_pAscii);
    pControls->addWidget(m_pRefresh);

    m_pGrid = new QTableWidget(this);
    m_pGrid->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    m_pGrid->horizontalHeader()->setFont(m_pGrid->font());
    m_pGrid->verticalHeader()->setFont(m_pGrid->font());
    m_pGrid->horizontalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    m_pGrid->verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    m_pGrid->verticalHeader()->setDefaultAlignment(Qt::AlignRight | Qt::AlignVCenter);
    m_pGrid->setSelectionMode(QAbstractItemView::SingleSelection);
    m_pGrid->setEditTriggers(QAbstractItemView::DoubleClicked | QAbstractItemView::EditKeyPressed |
                             QAbstractItemView::AnyKeyPressed);
    m_pGrid->setWordWrap(false);

    m_pStatus = new QLabel(this);
    m_pStatus->setTextInteractionFlags(Qt::TextSelectableByMouse);

    auto* pLayout = new QVBoxLayout(this);
    pLayout->addLayout(pControls);
    pLayout->addWidget(m_pGrid, 1);
    pLayout->addWidget(m_pStatus);

    connect(m_pRefresh, &QPushButton::clicked, this, [this] { Refresh(); });
    connect(m_pAddress, &QLineEdit::returnPressed, this, [this] { Refresh(); });
    connect(m_pGrid, &QTableWidget::cellChanged, this, &CMemoryViewerWnd::OnCellChanged);

    SettingsToControls(settings);
    Fill();
    OpenViewers().insert(m_ulNode, this);
}

CMemoryViewerWnd::~CMemoryViewerWnd()
{
    auto& viewers = OpenViewers();
    if (viewers.value(m_ulNode) == this || viewers.value(m_ulNode).isNull())
    {
        viewers.remove(m_ulNode);
    }
}

void CMemoryViewerWnd::SetAccess(SMemoryAccess access)
{
    m_access = std::move(access);
    setWindowTitle(QStringLiteral("Memory Viewer - Node %1, %2").arg(m_ulNode + 1).arg(m_access.strWhere));
}

CMemoryViewerWnd* CMemoryViewerWnd::Find(uint32_t ulNode)
{
    return OpenViewers().value(ulNode).data();
}

void CMemoryViewerWnd::SettingsToControls(const SMemoryViewSettings& settings)
{
    m_pAddress->setText(QStringLiteral("0x") + Hex(settings.ullAddress, settings.ullAddress >> 32 ? 16 : 8));
    m_pBytes->setValue(static_cast<int>(settings.ulNumBytes));
    m_pWordSize->setCurrentIndex(m_pWordSize->findData(settings.ulWordSize));
    m_pEndian->setCurrentIndex(settings.bBigEndian ? 0 : 1);
    m_pColumns->setValue(static_cast<int>(settings.ulNumColumns));
    m_pAscii->setChecked(settings.bShowAscii);
}

bool CMemoryViewerWnd::SettingsFromControls(SMemoryViewSettings* pSettings)
{
    SMemoryViewSettings settings;
    uint64_t ullAddress = 0;
    if (!NumberFromText(m_pAddress->text(), &ullAddress))
    {
        ShowMessage(InvalidEntryText());
        m_pAddress->setFocus();
        return false;
    }
    settings.ullAddress = ullAddress;
    settings.ulNumBytes = static_cast<uint32_t>(m_pBytes->value());
    settings.ulWordSize = m_pWordSize->currentData().toUInt();
    settings.bBigEndian = m_pEndian->currentData().toBool();
    settings.ulNumColumns = static_cast<uint32_t>(m_pColumns->value());
    settings.bShowAscii = m_pAscii->isChecked();
    const QString strProblem = settings.Problem();
    if (!strProblem.isEmpty())
    {
        ShowMessage(strProblem);
        return false;
    }
    *pSettings = settings;
    return true;
}

int32_t CMemoryViewerWnd::Apply(const SMemoryViewSettings& settings)
{
    const QString strProblem = settings.Problem();
    if (!strProblem.isEmpty())
    {
        ShowMessage(strProblem);
        return eRioInvalidParameter;
    }
    SettingsToControls(settings);
    return Refresh();
}

int32_t CMemoryViewerWnd::Refresh()
{
    SMemoryViewSettings settings;
    if (!SettingsFromControls(&settings))
    {
        return eRioInvalidParameter;
    }
    CMemoryImage image(settings);
    const int32_t nStatus =
        m_access.read ? m_access.read(settings.ullAddress, reinterpret_cast<uint8_t*>(image.Bytes().data()),
                                      static_cast<uint32_t>(image.Bytes().size()))
                      : eRioNotConnected;
    m_image = image;
    if (nStatus == eRioOk)
    {
        m_pStatus->setStyleSheet(QString());
        m_pStatus->setText(QStringLiteral("Read %1 at %2 from %3.")
                               .arg(Plural(static_cast<uint32_t>(image.Bytes().size()), "byte"),
                                    CMemoryImage::AddressText(settings.ullAddress), m_access.strWhere));
        Fill();
    }
    else
    {
        // The words are unknown, not zero: the grid says so.
        m_pStatus->setStyleSheet(QStringLiteral("color: #b00000"));
        m_pStatus->setText(QStringLiteral("Unable to read %1 at %2: %3")
                               .arg(m_access.strWhere, CMemoryImage::AddressText(settings.ullAddress),
                                    RioErrorText(nStatus)));
        Fill();
        m_bFilling = true;
        for (int iRow = 0; iRow < m_pGrid->rowCount(); ++iRow)
        {
            for (int iColumn = 0; iColumn < m_pGrid->columnCount(); ++iColumn)
            {
                if (QTableWidgetItem* pItem = m_pGrid->item(iRow, iColumn))
                {
                    pItem->setText(QString(pItem->text().size(), QLatin1Char('-')));
                    pItem->setFlags(pItem->flags() & ~Qt::ItemIsEditable);
                }
            }
        }
        m_bFilling = false;
    }
    return nStatus;
}

void CMemoryViewerWnd::Fill()
{
    m_bFilling = true;
    const SMemoryViewSettings& settings = m_image.Settings();
    const int iWordColumns = static_cast<int>(settings.ulNumColumns);
    const int iColumns = iWordColumns + (settings.bShowAscii ? 1 : 0);
    const int iRows = static_cast<int>(m_image.RowCount());
    m_pGrid->clear();
    m_pGrid->setColumnCount(iColumns);
    m_pGrid->setRowCount(iRows);

    QStringList headings;
    for (int iColumn = 0; iColumn < iWordColumns; ++iColumn)
    {
        headings << QStringLiteral("+") + Hex(static_cast<uint64_t>(iColumn) * settings.ulWordSize, 1);
    }
    if (settings.bShowAscii)
    {
        headings << QStringLiteral("ASCII");
    }
    m_pGrid->setHorizontalHeaderLabels(headings);
    QStringList addresses;
    for (int iRow = 0; iRow < iRows; ++iRow)
    {
        addresses << CMemoryImage::AddressText(m_image.RowAddress(static_cast<uint32_t>(iRow)));
    }
    m_pGrid->setVerticalHeaderLabels(addresses);

    for (int iRow = 0; iRow < iRows; ++iRow)
    {
        for (int iColumn = 0; iColumn < iWordColumns; ++iColumn)
        {
            const int iWord = m_image.WordIndex(static_cast<uint32_t>(iRow), static_cast<uint32_t>(iColumn));
            auto* pItem = new QTableWidgetItem;
            pItem->setTextAlignment(Qt::AlignCenter);
            if (iWord >= 0)
            {
                pItem->setText(m_image.WordText(static_cast<uint32_t>(iWord)));
                pItem->setToolTip(
                    CMemoryImage::AddressText(m_image.WordAddress(static_cast<uint32_t>(iWord))));
                pItem->setFlags(Qt::ItemIsEnabled | Qt::ItemIsSelectable | Qt::ItemIsEditable);
            }
            else
            {
                pItem->setFlags(Qt::NoItemFlags);
            }
            m_pGrid->setItem(iRow, iColumn, pItem);
        }
        if (settings.bShowAscii)
        {
            auto* pItem = new QTableWidgetItem(m_image.AsciiText(static_cast<uint32_t>(iRow)));
            pItem->setTextAlignment(Qt::AlignLeft | Qt::AlignVCenter);
            pItem->setFlags(Qt::ItemIsEnabled | Qt::ItemIsSelectable);
            m_pGrid->setItem(iRow, iWordColumns, pItem);
        }
    }

    // Every word column as wide as its widest text and all of them alike, so the digits line up;
    // the ASCII column as wide as a full row of characters.
    const QFontMetrics metrics(m_pGrid->font());
    const int iPadding = 2 * metrics.horizontalAdvance(QLatin1Char('0')) + 6;
    const int iWordWidth = std::max(
        metrics.horizontalAdvance(QString(static_cast<int>(2 * settings.ulWordSize), QLatin1Char('0'))) +
            iPadding,
        metrics.horizontalAdvance(headings.value(iWordColumns - 1)) + iPadding);
    for (int iColumn = 0; iColumn < iWordColumns; ++iColumn)
    {
        m_pGrid->setColumnWidth(iColumn, iWordWidth);
    }
    if (settings.bShowAscii)
    {
        const int iChars = static_cast<int>(settings.ulNumColumns * settings.ulWordSize);
        m_pGrid->setColumnWidth(iWordColumns,
                                std::max(metrics.horizontalAdvance(QString(iChars, QLatin1Char('W'))),
                                         metrics.horizontalAdvance(QStringLiteral("ASCII"))) +
                                    iPadding);
    }
    // Spare width goes to the characters, never to a word column.
    m_pGrid->horizontalHeader()->setStretchLastSection(settings.bShowAscii);
    m_pGrid->verticalHeader()->setMinimumWidth(metrics.horizontalAdvance(CMemoryImage::AddressText(0)) +
                                               iPadding);
    const int iRowHeight = metrics.height() + 6;
    m_pGrid->verticalHeader()->setDefaultSectionSize(iRowHeight);

    // The window wide enough for every column.
    int iWidth = m_pGrid->verticalHeader()->minimumWidth() + m_pGrid->frameWidth() * 2 + 24;
    for (int iColumn = 0; iColumn < iColumns; ++iColumn)
    {
        iWidth += m_pGrid->columnWidth(iColumn);
    }
    m_pGrid->setMinimumWidth(iWidth);
    m_pGrid->setMinimumHeight(std::min(iRows, 16) * iRowHeight +
                              m_pGrid->horizontalHeader()->sizeHint().height() + m_pGrid->frameWidth() * 2 +
                              4);
    m_bFilling = false;
}

void CMemoryViewerWnd::OnCellChanged(int iRow, int iColumn)
{
    if (m_bFilling)
    {
        return;
    }
    const int iWord = m_image.WordIndex(static_cast<uint32_t>(iRow), static_cast<uint32_t>(iColumn));
    QTableWidgetItem* pItem = m_pGrid->item(iRow, iColumn);
    if (iWord < 0 || !pItem)
    {
        return;
    }
    const auto ulWord = static_cast<uint32_t>(iWord);
    uint32_t ulValue = 0;
    QString strProblem;
    if (!ParseHexWord(pItem->text(), m_image.Settings().ulWordSize, &ulValue, &strProblem))
    {
        ShowMessage(strProblem);
        m_bFilling = true;
        pItem->setText(m_image.WordText(ulWord));
        m_bFilling = false;
        return;
    }
    WriteWord(ulWord, ulValue);
}

int32_t CMemoryViewerWnd::WriteWord(uint32_t ulWord, uint32_t ulValue)
{
    if (ulWord >= m_image.WordCount())
    {
        return eRioInvalidParameter;
    }
    const uint32_t ulSize = m_image.Settings().ulWordSize;
    const uint64_t ullAddress = m_image.WordAddress(ulWord);
    const QByteArray bytes = m_image.WordBytes(ulValue);
    int32_t nStatus =
        m_access.write
            ? m_access.write(ullAddress, reinterpret_cast<const uint8_t*>(bytes.constData()), ulSize)
            : eRioNotConnected;
    const QString strValue = Hex(ulValue, static_cast<int>(2 * ulSize));
    if (nStatus != eRioOk)
    {
        ShowMessage(QStringLiteral("Unable to write %1h at %2.\n\n%3")
                        .arg(strValue, CMemoryImage::AddressText(ullAddress), RioErrorText(nStatus)));
    }
    else
    {
        // What the memory holds now, which for a register need not be what was written.
        QByteArray readBack(static_cast<qsizetype>(ulSize), '\0');
        nStatus = m_access.read
                      ? m_access.read(ullAddress, reinterpret_cast<uint8_t*>(readBack.data()), ulSize)
                      : eRioNotConnected;
        if (nStatus == eRioOk)
        {
            m_image.Bytes().replace(static_cast<qsizetype>(ulWord * ulSize), readBack.size(), readBack);
            m_pStatus->setStyleSheet(QString());
            m_pStatus->setText(
                QStringLiteral("Wrote %1h at %2.").arg(strValue, CMemoryImage::AddressText(ullAddress)));
        }
        else
        {
            m_image.SetWordValue(ulWord, ulValue);
            m_pStatus->setStyleSheet(QStringLiteral("color: #b00000"));
            m_pStatus->setText(
                QStringLiteral("Wrote %1h at %2, but could not read it back: %3")
                    .arg(strValue, CMemoryImage::AddressText(ullAddress), RioErrorText(nStatus)));
        }
    }
    // The word and its row's characters as they now stand.
    m_bFilling = true;
    const uint32_t ulColumns = m_image.Settings().ulNumColumns;
    const int iRow = static_cast<int>(ulWord / ulColumns);
    if (QTableWidgetItem* pItem = m_pGrid->item(iRow, static_cast<int>(ulWord % ulColumns)))
    {
        pItem->setText(m_image.WordText(ulWord));
    }
    if (m_image.Settings().bShowAscii)
    {
        if (QTableWidgetItem* pItem = m_pGrid->item(iRow, static_cast<int>(ulColumns)))
        {
            pItem->setText(m_image.AsciiText(static_cast<uint32_t>(iRow)));
        }
    }
    m_bFilling = false;
    return nStatus;
}

// ---------------------------------------------------------------------------------------------
// The set-up dialog

CMemoryViewerSetupDlg::CMemoryViewerSetupDlg(const SMemoryViewSettings& settings, int iNode, QWidget* pParent)
    : QDialog(pParent), m_settings(settings)
{
    setWindowTitle(QStringLiteral("Edit Memory - Node %1").arg(iNode + 1));
    m_pAddress = new QLineEdit(
        QStringLiteral("0x") + Hex(settings.ullAddress, settings.ullAddress >> 32 ? 16 : 8), this);
    m_pAddress->setMinimumWidth(fontMetrics().horizontalAdvance(QStringLiteral("0xFFFFFFFFFFFFFFFF")) + 16);
    m_pBytes = new QLineEdit(QString::number(settings.ulNumBytes), this);
    m_pBytes->setToolTip(QStringLiteral("At most 4096"));
    m_pWordSize = new QComboBox(this);
    m_pWordSize->addItem(QStringLiteral("1 byte"), 1);
    m_pWordSize->addItem(QStringLiteral("2 bytes"), 2);
    m_pWordSize->addItem(QStringLiteral("4 bytes"), 4);
    m_pWordSize->setCurrentIndex(std::max(0, m_pWordSize->findData(settings.ulWordSize)));
    m_pEndian = new QComboBox(this);
    m_pEndian->addItem(QStringLiteral("Big endian"), true);
    m_pEndian->addItem(QStringLiteral("Little endian"), false);
    m_pEndian->setCurrentIndex(settings.bBigEndian ? 0 : 1);
    m_pColumns = new QSpinBox(this);
    m_pColumns->setRange(1, static_cast<int>(kMaxMemoryViewColumns));
    m_pColumns->setValue(static_cast<int>(settings.ulNumColumns));
    m_pAscii = new QCheckBox(QStringLiteral("Show the ASCII column"), this);
    m_pAscii->setChecked(settings.bShowAscii);

    auto* pForm = new QFormLayout;
    pForm->addRow(QStringLiteral("&Address:"), m_pAddress);
    pForm->addRow(QStringLiteral("&Number of bytes:"), m_pBytes);
    pForm->addRow(QStringLiteral("&Word size:"), m_pWordSize);
    pForm->addRow(QStringLiteral("&Byte order:"), m_pEndian);
    pForm->addRow(QStringLiteral("&Columns:"), m_pColumns);
    pForm->addRow(QString(), m_pAscii);
    auto* pButtons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
    connect(pButtons, &QDialogButtonBox::accepted, this, &CMemoryViewerSetupDlg::accept);
    connect(pButtons, &QDialogButtonBox::rejected, this, &CMemoryViewerSetupDlg::reject);
    auto* pLayout = new QVBoxLayout(this);
    pLayout->addLayout(pForm);
    pLayout->addWidget(pButtons);
}

bool CMemoryViewerSetupDlg::Take(SMemoryViewSettings* pSettings)
{
    SMemoryViewSettings settings;
    uint64_t ullValue = 0;
    if (!NumberFromText(m_pAddress->text(), &ullValue))
    {
        ShowMessage(InvalidEntryText());
        m_pAddress->setFocus();
        return false;
    }
    settings.ullAddress = ullValue;
    if (!NumberFromText(m_pBytes->text(), 0xFFFFFFFFull, &ullValue))
    {
        ShowMessage(InvalidEntryText());
        m_pBytes->setFocus();
        return false;
    }
    settings.ulNumBytes = static_cast<uint32_t>(ullValue);
    settings.ulWordSize = m_pWordSize->currentData().toUInt();
    settings.bBigEndian = m_pEndian->currentData().toBool();
    settings.ulNumColumns = static_cast<uint32_t>(m_pColumns->value());
    settings.bShowAscii = m_pAscii->isChecked();
    const QString strProblem = settings.Problem();
    if (!strProblem.isEmpty())
    {
        ShowMessage(strProblem);
        return false;
    }
    *pSettings = settings;
    return true;
}

void CMemoryViewerSetupDlg::accept()
{
    if (Take(&m_settings))
    {
        QDialog::accept();
    }
}

// ---------------------------------------------------------------------------------------------
// Opening and closing

int32_t OpenMemoryViewer(QWidget* pParent, CNetworkDocument& document, uint32_t ulNode, uint64_t ullAddress,
                         uint32_t ulNumBytes, bool bBigEndian, uint32_t ulWordSize, bool bShowAscii,
                         uint32_t ulNumColumns)
{
    SMemoryViewSettings settings;
    settings.ullAddress = ullAddress;
    settings.ulNumBytes = ulNumBytes;
    settings.bBigEndian = bBigEndian;
    settings.ulWordSize = ulWordSize;
    settings.bShowAscii = bShowAscii;
    settings.ulNumColumns = ulNumColumns;
    if (!document.pCurrentPEs->GetByNodeNumber(static_cast<int>(ulNode)))
    {
        return eRioNodeNotFound;
    }
    if (!settings.Problem().isEmpty())
    {
        return eRioInvalidParameter;
    }
    SMemoryAccess access;
    const int32_t nStatus = NodeMemoryAccess(document, ulNode, ulWordSize, &access);
    if (nStatus != eRioOk)
    {
        return nStatus;
    }
    // The node's open window stays where the person put it and takes the new view; the access
    // follows the node's current destination ID.
    CMemoryViewerWnd* pViewer = CMemoryViewerWnd::Find(ulNode);
    if (pViewer)
    {
        pViewer->SetAccess(std::move(access));
        pViewer->show();
        pViewer->raise();
        return pViewer->Apply(settings);
    }
    pViewer = new CMemoryViewerWnd(ulNode, std::move(access), settings, pParent);
    pViewer->show();
    pViewer->raise();
    return pViewer->Refresh();
}

int32_t CloseMemoryViewer(QWidget* pParent, uint32_t ulNode)
{
    (void)pParent;
    CMemoryViewerWnd* pViewer = CMemoryViewerWnd::Find(ulNode);
    if (!pViewer)
    {
        return eRioNodeNotFound;
    }
    OpenViewers().remove(ulNode);
    pViewer->close();
    return eRioOk;
}

void InstallMemoryViewerCommands(CMainFrameCore& core, QWidget* pWindow, MemoryViewSettingsChooser chooser)
{
    if (!chooser)
    {
        chooser = [pWindow](int iNode, SMemoryViewSettings* pSettings)
        {
            CMemoryViewerSetupDlg dialog(*pSettings, iNode, pWindow);
            if (dialog.exec() != QDialog::Accepted)
            {
                return false;
            }
            *pSettings = dialog.Settings();
            return true;
        };
    }
    core.SetCommandHandler(eCmdEditMemory,
                           [&core, pWindow, chooser](const SCommandContext& context)
                           {
                               if (context.iNode < 0)
                               {
                                   return;
                               }
                               const auto ulNode = static_cast<uint32_t>(context.iNode);
                               SMemoryAccess access;
                               if (NodeMemoryAccess(core.Document(), ulNode, 4, &access) == kNoRouteStatus)
                               {
                                   ShowMessage(QStringLiteral("This PE has no destination ID, so its memory "
                                                              "cannot be reached."));
                                   return;
                               }
                               SMemoryViewSettings settings = SMemoryViewSettings::Load();
                               if (!chooser(context.iNode, &settings))
                               {
                                   return;
                               }
                               settings.Save();
                               OpenMemoryViewer(pWindow, core.Document(), ulNode, settings.ullAddress,
                                                settings.ulNumBytes, settings.bBigEndian, settings.ulWordSize,
                                                settings.bShowAscii, settings.ulNumColumns);
                           });
}
