#include "RegisterDlg.h"

#include "DefaultSettings.h"
#include "DeviceInfo.h"
#include "MapCommands.h"
#include "NetBrowser.h"
#include "NetworkDocument.h"
#include "NumberText.h"
#include "Preferences.h"
#include "QtUserInterface.h"
#include "RegisterReport.h"
#include "RegisterTree.h"
#include "RegisterValueList.h"
#include "UserInterface.h"

#include <QAbstractItemView>
#include <QAction>
#include <QActionGroup>
#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QContextMenuEvent>
#include <QFontDatabase>
#include <QHelpEvent>
#include <QKeyEvent>
#include <QLineEdit>
#include <QMenu>
#include <QMenuBar>
#include <QMessageBox>
#include <QPainter>
#include <QScrollArea>
#include <QScrollBar>
#include <QStatusBar>
#include <QToolBar>
#include <QToolTip>

#include <algorithm>
#include <set>

using namespace RegisterPage;

namespace
{
const QString kMessages = QStringLiteral("Messages");

// Pixel sizes of the page's fonts, fixed so that the page keeps its geometry on any screen.
constexpr int kTitlePixels = 12;
constexpr int kAddressPixels = 11;
constexpr int kBitNumberPixels = 10;
constexpr int kFieldNamePixels = 11;
constexpr int kSmallestNamePixels = 9;
constexpr int kValuePixels = 12;
// Room inside a field box.
constexpr int kBoxPadding = 4;

QFont PageFont(int iPixels, bool bBold = false)
{
    QFont font = QApplication::font();
    font.setPixelSize(iPixels);
    font.setBold(bBold);
    return font;
}

QFont ValueFont()
{
    QFont font = QFontDatabase::systemFont(QFontDatabase::FixedFont);
    font.setPixelSize(kValuePixels);
    font.setBold(true);
    return font;
}

// Bits of a register's width that the page shows (a width the file gives beyond 32 shows 32).
int RegisterBits(const RegisterItem& item)
{
    return std::clamp(item.pRegister ? item.pRegister->GetNumBits() : 32, 8, 32);
}

// The bit range of a field as the register file numbers bits.
QString BitRangeText(const CRegister& reg, const CBitField& field)
{
    const int iBits = reg.GetNumBits();
    const int iFirst = reg.bMSB_Hi ? iBits - 1 - field.iFirstBit : field.iFirstBit;
    const int iLast = reg.bMSB_Hi ? iBits - 1 - field.iLastBit : field.iLastBit;
    return QString::asprintf("%02d:%02d", iFirst, iLast);
}

// The number of a value entry "number=text" read as "%d=%*s" reads it: an optional sign and
// decimal digits; false when there are none.
bool LeadingDecimal(const QString& strEntry, int64_t* pValue)
{
    const QString strText = strEntry.trimmed();
    int i = 0;
    bool bNegative = false;
    if (i < strText.size() && (strText[i] == QLatin1Char('-') || strText[i] == QLatin1Char('+')))
    {
        bNegative = strText[i] == QLatin1Char('-');
        ++i;
    }
    const int iDigits = i;
    int64_t value = 0;
    while (i < strText.size() && strText[i].isDigit() && strText[i].unicode() < 128 && value < (1ll << 40))
    {
        value = value * 10 + (strText[i].unicode() - '0');
        ++i;
    }
    if (i == iDigits)
    {
        return false;
    }
    *pValue = bNegative ? -value : value;
    return true;
}

// "Upload this register?" with "Yes to All" and "No to All" for the rest of one opening, and a
// box that keeps the answer for good (key UploadEditRegs). *pnAll holds an answer for all.
int AskUploadThisRegister(QWidget* pParent, int* pnAll)
{
    const QString strKey = QStringLiteral("UploadEditRegs");
    const QString strText = QStringLiteral("Upload this register?");
    if (*pnAll != 0)
    {
        return *pnAll;
    }
    if (QuestionState(strKey) != eQuestionAsk || !dynamic_cast<CQtUserInterface*>(&UI()))
    {
        return AskDontAsk(strKey, strText, ApplicationTitle());
    }
    QMessageBox box(QMessageBox::Question, ApplicationTitle(), strText,
                    QMessageBox::Yes | QMessageBox::YesToAll | QMessageBox::No | QMessageBox::NoToAll,
                    pParent);
    box.setDefaultButton(QMessageBox::Yes);
    auto* pDontAsk = new QCheckBox(QStringLiteral("Don't ask me again"), &box);
    box.setCheckBox(pDontAsk);
    const int nButton = box.exec();
    const bool bYes = nButton == QMessageBox::Yes || nButton == QMessageBox::YesToAll;
    const int nAnswer = bYes ? eAnswerYes : eAnswerNo;
    if (pDontAsk->isChecked())
    {
        SetQuestionState(strKey, bYes ? eQuestionAlwaysYes : eQuestionAlwaysNo);
    }
    if (nButton == QMessageBox::YesToAll || nButton == QMessageBox::NoToAll)
    {
        *pnAll = nAnswer;
    }
    return nAnswer;
}

CRegisterDlg::ScriptEditorOpener& InstalledOpener()
{
    static CRegisterDlg::ScriptEditorOpener s_opener;
    return s_opener;
}
} // namespace

QString RegisterValueTail(uint64_t ulValue, int eDisplayBase)
{
    if (ulValue < 2)
    {
        return QString();
    }
    return eDisplayBase == 2    ? QStringLiteral("b")
           : eDisplayBase == 10 ? QStringLiteral("d")
                                : QStringLiteral("h");
}

QString RegisterFieldValueText(uint64_t ulValue, int eDisplayBase)
{
    return NumberToText(ulValue, eDisplayBase, false) + RegisterValueTail(ulValue, eDisplayBase);
}

// ---------------------------------------------------------------------------------------------
// The view

CRegisterChildView::CRegisterChildView(CRegisterDlg& dialog, QWidget* pParent)
    : QWidget(pParent), m_dialog(dialog)
{
    setObjectName(QStringLiteral("RegisterPage"));
    setFixedWidth(kWidth);
    setAutoFillBackground(true);
    QPalette palette = this->palette();
    palette.setColor(QPalette::Window, Qt::white);
    setPalette(palette);
    UpdateSize();
}

int CRegisterChildView::Rows(int iItem) const
{
    return (RegisterBits(m_dialog.Items()[static_cast<size_t>(iItem)]) + kBitsPerRow - 1) / kBitsPerRow;
}

int CRegisterChildView::ItemHeight(int iItem) const
{
    if (m_dialog.IsCollapsed(iItem))
    {
        return kCollapsedHeight;
    }
    return kHeaderHeight + kRowHeight * Rows(iItem);
}

int CRegisterChildView::ItemTop(int iItem) const
{
    int iTop = 0;
    for (int i = 0; i < iItem; ++i)
    {
        iTop += ItemHeight(i);
    }
    return iTop;
}

int CRegisterChildView::TotalHeight() const
{
    return ItemTop(static_cast<int>(m_dialog.Items().size()));
}

QRect CRegisterChildView::ItemRect(int iItem) const
{
    return QRect(0, ItemTop(iItem), kWidth, ItemHeight(iItem));
}

QRect CRegisterChildView::TitleRect(int iItem) const
{
    return QRect(0, ItemTop(iItem), kWidth, kTitleHeight);
}

QRect CRegisterChildView::BitRect(int iItem, int iBit) const
{
    if (m_dialog.IsCollapsed(iItem))
    {
        return QRect();
    }
    const int iRow = iBit / kBitsPerRow;
    const int iColumn = iBit % kBitsPerRow;
    return QRect(kLeft + iColumn * kBitWidth,
                 ItemTop(iItem) + kHeaderHeight + iRow * kRowHeight + kBitNumberHeight, kBitWidth,
                 kRowHeight - kBitNumberHeight);
}

std::vector<QRect> CRegisterChildView::FieldRects(int iItem, int iField) const
{
    std::vector<QRect> rects;
    const RegisterItem& item = m_dialog.Items()[static_cast<size_t>(iItem)];
    const CBitField* pField = item.pRegister->GetBitField(iField);
    if (!pField || m_dialog.IsCollapsed(iItem))
    {
        return rects;
    }
    const int iLast = std::min(pField->iLastBit, RegisterBits(item) - 1);
    for (int iBit = std::max(pField->iFirstBit, 0); iBit <= iLast;)
    {
        const int iRowEnd = std::min(iLast, (iBit / kBitsPerRow + 1) * kBitsPerRow - 1);
        rects.push_back(BitRect(iItem, iBit).united(BitRect(iItem, iRowEnd)));
        iBit = iRowEnd + 1;
    }
    return rects;
}

QRect CRegisterChildView::FieldTextRect(int iItem, int iField) const
{
    QRect best;
    for (const QRect& rect : FieldRects(iItem, iField))
    {
        if (rect.width() > best.width())
        {
            best = rect;
        }
    }
    return best;
}

QString CRegisterChildView::NodeText(int iItem) const
{
    return QString::asprintf("Node %d", m_dialog.Items()[static_cast<size_t>(iItem)].iNodeNumber + 1);
}

QString CRegisterChildView::NameText(int iItem) const
{
    return QStringLiteral("  %1").arg(m_dialog.Items()[static_cast<size_t>(iItem)].pRegister->Name);
}

QString CRegisterChildView::ValueText(int iItem) const
{
    const SRegisterValue* pValue = m_dialog.StoredValue(iItem);
    return pValue ? QString::asprintf("= 0x%08X", pValue->uValue) : QString();
}

QString CRegisterChildView::AddressText(int iItem) const
{
    const RegisterItem& item = m_dialog.Items()[static_cast<size_t>(iItem)];
    if (item.bIO)
    {
        return QString::asprintf("Register Address: 0x%llX/0x%llX   ",
                                 static_cast<unsigned long long>(item.uLocalAddr),
                                 static_cast<unsigned long long>(item.uRIOAddr));
    }
    return QString::asprintf("Maintenance Offset: 0x%X", item.uOffset);
}

QString CRegisterChildView::BitNumberText(int iItem, int iBit) const
{
    const RegisterItem& item = m_dialog.Items()[static_cast<size_t>(iItem)];
    return QString::number(item.pRegister->bMSB_Hi ? item.pRegister->GetNumBits() - 1 - iBit : iBit);
}

QString CRegisterChildView::FieldText(int iItem, int iField) const
{
    const RegisterItem& item = m_dialog.Items()[static_cast<size_t>(iItem)];
    const CBitField* pField = item.pRegister->GetBitField(iField);
    if (!pField)
    {
        return QString();
    }
    QString strText = QStringLiteral("%1 [%2]\n").arg(pField->Name, BitRangeText(*item.pRegister, *pField));
    if (const SRegisterValue* pValue = m_dialog.StoredValue(iItem))
    {
        strText += RegisterFieldValueText(pField->Extract(pValue->uValue, item.pRegister->GetNumBits()),
                                          m_dialog.DisplayBase());
    }
    return strText;
}

CRegisterChildView::SHit CRegisterChildView::HitTest(const QPoint& at) const
{
    SHit hit;
    const int nItems = static_cast<int>(m_dialog.Items().size());
    int iTop = 0;
    for (int i = 0; i < nItems; ++i)
    {
        const int iHeight = ItemHeight(i);
        if (at.y() >= iTop && at.y() < iTop + iHeight)
        {
            hit.iItem = i;
            break;
        }
        iTop += iHeight;
    }
    if (hit.iItem < 0)
    {
        return hit;
    }
    if (at.y() < iTop + kTitleHeight)
    {
        hit.bTitle = true;
        hit.bToggle = at.x() < 20;
        return hit;
    }
    const RegisterItem& item = m_dialog.Items()[static_cast<size_t>(hit.iItem)];
    for (int f = 0; f < item.pRegister->GetNumBitFields(); ++f)
    {
        for (const QRect& rect : FieldRects(hit.iItem, f))
        {
            if (rect.contains(at))
            {
                hit.iField = f;
                return hit;
            }
        }
    }
    return hit;
}

void CRegisterChildView::UpdateSize()
{
    setFixedHeight(std::max(TotalHeight(), 1));
    update();
}

void CRegisterChildView::paintEvent(QPaintEvent* pEvent)
{
    QPainter painter(this);
    painter.fillRect(pEvent->rect(), Qt::white);
    const int nItems = static_cast<int>(m_dialog.Items().size());
    int iTop = 0;
    for (int i = 0; i < nItems; ++i)
    {
        const int iHeight = ItemHeight(i);
        if (iTop < pEvent->rect().bottom() + 1 && iTop + iHeight > pEvent->rect().top())
        {
            PaintItem(painter, i);
        }
        iTop += iHeight;
    }
    if (nItems == 0)
    {
        painter.setPen(Qt::darkGray);
        painter.setFont(PageFont(kTitlePixels));
        painter.drawText(
            QRect(0, 0, kWidth, 60), Qt::AlignCenter,
            QStringLiteral("Double-click a register or a register block in the network browser."));
    }
}

void CRegisterChildView::PaintItem(QPainter& painter, int iItem) const
{
    const RegisterItem& item = m_dialog.Items()[static_cast<size_t>(iItem)];
    const QRect title = TitleRect(iItem);
    const bool bCurrent = iItem == m_dialog.CurrentItem();
    painter.fillRect(title, bCurrent ? QColor(0xCC, 0xE0, 0xF8) : QColor(0xEE, 0xF1, 0xF5));
    // The collapse box.
    const QRect toggle(5, title.top() + 4, 11, 11);
    painter.setPen(Qt::darkGray);
    painter.setBrush(Qt::white);
    painter.drawRect(toggle);
    painter.drawLine(toggle.left() + 2, toggle.center().y(), toggle.right() - 2, toggle.center().y());
    if (m_dialog.IsCollapsed(iItem))
    {
        painter.drawLine(toggle.center().x(), toggle.top() + 2, toggle.center().x(), toggle.bottom() - 2);
    }
    // "Node %d", the register's name and its value.
    painter.setPen(Qt::black);
    painter.setFont(PageFont(kTitlePixels));
    const QString strNode = NodeText(iItem);
    const int iNodeWidth = painter.fontMetrics().horizontalAdvance(strNode);
    painter.drawText(QRect(22, title.top(), iNodeWidth + 2, kTitleHeight), Qt::AlignVCenter | Qt::AlignLeft,
                     strNode);
    const SRegisterValue* pValue = m_dialog.StoredValue(iItem);
    painter.setFont(ValueFont());
    const QString strValue = pValue ? ValueText(iItem) : QStringLiteral("= (not uploaded)");
    const int iValueWidth = painter.fontMetrics().horizontalAdvance(strValue);
    const QRect valueRect(kWidth - kLeft - iValueWidth, title.top(), iValueWidth, kTitleHeight);
    // A value that no read of the hardware confirmed yet shows in another colour.
    painter.setPen(!pValue ? Qt::gray : pValue->bFlag ? QColor(0xB0, 0x50, 0x00) : Qt::black);
    painter.drawText(valueRect, Qt::AlignVCenter | Qt::AlignRight, strValue);
    painter.setPen(Qt::black);
    painter.setFont(PageFont(kTitlePixels, true));
    const QRect nameRect(22 + iNodeWidth, title.top(), valueRect.left() - 12 - (22 + iNodeWidth),
                         kTitleHeight);
    painter.drawText(nameRect, Qt::AlignVCenter | Qt::AlignLeft,
                     painter.fontMetrics().elidedText(NameText(iItem), Qt::ElideRight, nameRect.width()));
    if (m_dialog.IsCollapsed(iItem))
    {
        painter.setPen(QColor(0xC8, 0xCC, 0xD2));
        painter.drawLine(0, title.bottom(), kWidth, title.bottom());
        return;
    }
    // The address line, with the block (and set) on the right.
    const int iAddressTop = title.bottom() + 1;
    const int iAddressHeight = kHeaderHeight - kTitleHeight;
    painter.setFont(PageFont(kAddressPixels));
    painter.setPen(QColor(0x30, 0x30, 0x30));
    painter.drawText(QRect(22, iAddressTop, 400, iAddressHeight), Qt::AlignVCenter | Qt::AlignLeft,
                     AddressText(iItem));
    painter.setPen(Qt::darkGray);
    const QRect placeRect(kWidth / 2, iAddressTop, kWidth / 2 - kLeft, iAddressHeight);
    painter.drawText(placeRect, Qt::AlignVCenter | Qt::AlignRight,
                     painter.fontMetrics().elidedText(item.Name, Qt::ElideMiddle, placeRect.width()));
    // Bit numbers above each row, as the register file numbers bits.
    const int nBits = RegisterBits(item);
    painter.setFont(PageFont(kBitNumberPixels));
    painter.setPen(Qt::darkGray);
    for (int iBit = 0; iBit < nBits; ++iBit)
    {
        const QRect bit = BitRect(iItem, iBit);
        painter.drawText(QRect(bit.left(), bit.top() - kBitNumberHeight, bit.width(), kBitNumberHeight),
                         Qt::AlignCenter, BitNumberText(iItem, iBit));
    }
    // Bits that no field covers are reserved: hatched.
    std::vector<bool> covered(static_cast<size_t>(nBits), false);
    for (int f = 0; f < item.pRegister->GetNumBitFields(); ++f)
    {
        const CBitField* pField = item.pRegister->GetBitField(f);
        for (int iBit = std::max(0, pField->iFirstBit); iBit <= std::min(pField->iLastBit, nBits - 1); ++iBit)
        {
            covered[static_cast<size_t>(iBit)] = true;
        }
    }
    for (int iBit = 0; iBit < nBits; ++iBit)
    {
        if (!covered[static_cast<size_t>(iBit)])
        {
            const QRect bit = BitRect(iItem, iBit).adjusted(1, 1, -1, -1);
            painter.fillRect(bit, QColor(0xF2, 0xF2, 0xF2));
            painter.fillRect(bit, QBrush(QColor(0xD0, 0xD0, 0xD0), Qt::BDiagPattern));
        }
    }
    for (int f = 0; f < item.pRegister->GetNumBitFields(); ++f)
    {
        PaintField(painter, iItem, f);
    }
    painter.setPen(QColor(0xC8, 0xCC, 0xD2));
    const QRect whole = ItemRect(iItem);
    painter.drawLine(0, whole.bottom(), kWidth, whole.bottom());
}

QString CRegisterChildView::DrawnNameLine(int iItem, int iField, QFont* pFont) const
{
    const RegisterItem& item = m_dialog.Items()[static_cast<size_t>(iItem)];
    const CBitField& field = *item.pRegister->GetBitField(iField);
    const int iWidth = FieldTextRect(iItem, iField).width() - 2 * kBoxPadding;
    const QString strFull = FieldText(iItem, iField).section(QLatin1Char('\n'), 0, 0);
    // The whole line in the largest size that fits; else the name alone, as the bit numbers
    // above the box tell the range; else the name cut short. The tool tip has the whole text.
    QFont font = PageFont(kFieldNamePixels);
    for (const QString& strLine : {strFull, field.Name})
    {
        for (int iPixels = kFieldNamePixels; iPixels >= kSmallestNamePixels; --iPixels)
        {
            font.setPixelSize(iPixels);
            if (QFontMetrics(font).horizontalAdvance(strLine) <= iWidth)
            {
                *pFont = font;
                return strLine;
            }
        }
    }
    *pFont = font;
    // Eliding may round a pixel over the width it is given.
    return QFontMetrics(font).elidedText(field.Name, Qt::ElideRight, iWidth - 2);
}

void CRegisterChildView::PaintField(QPainter& painter, int iItem, int iField) const
{
    const RegisterItem& item = m_dialog.Items()[static_cast<size_t>(iItem)];
    const CBitField& field = *item.pRegister->GetBitField(iField);
    const bool bWritable = field.iAccess != eAccessReadOnly;
    QColor fill = bWritable ? QColor(Qt::white) : QColor(0xE6, 0xE9, 0xEE);
    if (field.uColor != kNoFieldColor)
    {
        fill = QColor::fromRgb(field.uColor);
        fill.setAlpha(255);
    }
    const bool bEditing =
        m_dialog.EditOpen() && m_dialog.EditItem() == iItem && m_dialog.EditField() == iField;
    const QRect textBox = FieldTextRect(iItem, iField);
    QFont nameFont;
    const QString strNameLine = DrawnNameLine(iItem, iField, &nameFont);
    for (const QRect& rect : FieldRects(iItem, iField))
    {
        const QRect box = rect.adjusted(1, 1, -1, -3);
        painter.fillRect(box, fill);
        painter.setPen(bEditing ? QPen(QColor(0x20, 0x60, 0xC0), 2) : QPen(QColor(0x60, 0x60, 0x60), 1));
        painter.setBrush(Qt::NoBrush);
        painter.drawRect(box.adjusted(0, 0, -1, -1));
        if (rect != textBox)
        {
            // The other rows of a field that runs over a row end: its name again, in grey.
            QFont restFont = PageFont(kSmallestNamePixels);
            restFont.setItalic(true);
            painter.setFont(restFont);
            painter.setPen(Qt::gray);
            const QRect restRect = box.adjusted(kBoxPadding, 1, -kBoxPadding, -1);
            painter.drawText(restRect, Qt::AlignLeft | Qt::AlignVCenter,
                             painter.fontMetrics().elidedText(field.Name, Qt::ElideRight, restRect.width()));
        }
    }
    const QRect textRect = textBox.adjusted(kBoxPadding, 1, -kBoxPadding, -3);
    const int iHalf = textRect.height() / 2;
    painter.setPen(Qt::black);
    painter.setFont(nameFont);
    painter.drawText(QRect(textRect.left(), textRect.top(), textRect.width(), iHalf),
                     Qt::AlignLeft | Qt::AlignVCenter, strNameLine);
    const QStringList lines = FieldText(iItem, iField).split(QLatin1Char('\n'));
    if (lines.size() > 1 && !bEditing)
    {
        painter.setFont(ValueFont());
        const SRegisterValue* pValue = m_dialog.StoredValue(iItem);
        painter.setPen(pValue && pValue->bFlag ? QColor(0xB0, 0x50, 0x00) : QColor(0x00, 0x30, 0x80));
        painter.drawText(
            QRect(textRect.left(), textRect.top() + iHalf, textRect.width(), textRect.height() - iHalf),
            Qt::AlignLeft | Qt::AlignVCenter,
            painter.fontMetrics().elidedText(lines[1], Qt::ElideLeft, textRect.width()));
    }
}

void CRegisterChildView::mousePressEvent(QMouseEvent* pEvent)
{
    if (pEvent->button() != Qt::LeftButton)
    {
        QWidget::mousePressEvent(pEvent);
        return;
    }
    const SHit hit = HitTest(pEvent->position().toPoint());
    if (hit.bToggle)
    {
        emit toggleClicked(hit.iItem);
    }
    else if (hit.iField >= 0)
    {
        emit fieldClicked(hit.iItem, hit.iField);
    }
    else
    {
        emit itemClicked(hit.iItem);
    }
}

void CRegisterChildView::mouseDoubleClickEvent(QMouseEvent* pEvent)
{
    const SHit hit = HitTest(pEvent->position().toPoint());
    if (hit.bTitle && !hit.bToggle)
    {
        emit toggleClicked(hit.iItem);
        return;
    }
    QWidget::mouseDoubleClickEvent(pEvent);
}

void CRegisterChildView::contextMenuEvent(QContextMenuEvent* pEvent)
{
    const SHit hit = HitTest(pEvent->pos());
    if (hit.iItem >= 0)
    {
        emit popupRequested(hit.iItem, hit.iField, pEvent->globalPos());
    }
}

bool CRegisterChildView::event(QEvent* pEvent)
{
    if (pEvent->type() != QEvent::ToolTip)
    {
        return QWidget::event(pEvent);
    }
    auto* pHelp = static_cast<QHelpEvent*>(pEvent);
    const SHit hit = HitTest(pHelp->pos());
    if (hit.iItem < 0)
    {
        QToolTip::hideText();
        pEvent->ignore();
        return true;
    }
    const RegisterItem& item = m_dialog.Items()[static_cast<size_t>(hit.iItem)];
    QString strTip;
    if (hit.iField >= 0)
    {
        const CBitField& field = *item.pRegister->GetBitField(hit.iField);
        strTip = FieldText(hit.iItem, hit.iField).trimmed();
        strTip +=
            field.iAccess == eAccessReadOnly ? QStringLiteral("\nRead only") : QStringLiteral("\nRead/write");
        if (const SRegisterValue* pValue = m_dialog.StoredValue(hit.iItem))
        {
            const QString strMeaning =
                field.GetValueText(field.Extract(pValue->uValue, item.pRegister->GetNumBits()));
            if (!strMeaning.isEmpty())
            {
                strTip += QStringLiteral("\n") + strMeaning;
            }
        }
    }
    else
    {
        strTip = item.pRegister->Name + QStringLiteral("\n") + item.Name + QStringLiteral("\n") +
                 AddressText(hit.iItem).trimmed();
        if (const SRegisterValue* pValue = m_dialog.StoredValue(hit.iItem); pValue && pValue->bFlag)
        {
            strTip += QStringLiteral("\nNot yet confirmed by a read of the hardware");
        }
    }
    QToolTip::showText(pHelp->globalPos(), strTip, this);
    return true;
}

// ---------------------------------------------------------------------------------------------
// The window

CRegisterDlg::CRegisterDlg(CNetworkDocument& document, QWidget* pParent)
    : QMainWindow(pParent), m_document(document), m_access(document, &ShellRegisterTransport())
{
    setObjectName(QStringLiteral("RegisterEditor"));
    setWindowFlag(Qt::Window);
    setAttribute(Qt::WA_DeleteOnClose, false);
    const uint32_t ulBase = GetPreference(QStringLiteral("Preferences"), QStringLiteral("DefaultBase"), 16u);
    m_eDisplayBase = ulBase == 2 || ulBase == 10 ? static_cast<int>(ulBase) : 16;

    m_pView = new CRegisterChildView(*this);
    m_pScroll = new QScrollArea(this);
    m_pScroll->setWidget(m_pView);
    m_pScroll->setWidgetResizable(false);
    m_pScroll->setAlignment(Qt::AlignHCenter | Qt::AlignTop);
    m_pScroll->setBackgroundRole(QPalette::Base);
    setCentralWidget(m_pScroll);

    m_pEdit = new QLineEdit(m_pView);
    m_pEdit->setObjectName(QStringLiteral("FieldEdit"));
    m_pEdit->hide();
    m_pEdit->installEventFilter(this);
    m_pCombo = new QComboBox(m_pView);
    m_pCombo->setObjectName(QStringLiteral("FieldValues"));
    m_pCombo->hide();
    m_pCombo->installEventFilter(this);
    connect(m_pCombo, qOverload<int>(&QComboBox::activated), this, &CRegisterDlg::OnComboChosen);

    connect(m_pView, &CRegisterChildView::fieldClicked, this,
            [this](int iItem, int iField)
            {
                SetCurrentItem(iItem);
                if (!BeginEdit(iItem, iField))
                {
                    CancelEdit();
                }
            });
    connect(m_pView, &CRegisterChildView::itemClicked, this,
            [this](int iItem)
            {
                CancelEdit();
                SetCurrentItem(iItem);
            });
    connect(m_pView, &CRegisterChildView::toggleClicked, this,
            [this](int iItem)
            {
                CancelEdit();
                SetCurrentItem(iItem);
                SetCollapsed(iItem, !IsCollapsed(iItem));
            });
    connect(m_pView, &CRegisterChildView::popupRequested, this, &CRegisterDlg::OnPopup);

    BuildMenus();
    UpdateTitle();
    statusBar()->showMessage(
        QStringLiteral("Click a field to edit it; Enter writes it, Escape drops the edit."));
    const int iFrame = m_pScroll->frameWidth() * 2 + m_pScroll->verticalScrollBar()->sizeHint().width();
    resize(kWidth + iFrame + 4, 720);
}

CRegisterDlg::~CRegisterDlg() = default;

void CRegisterDlg::SetScriptEditorOpener(ScriptEditorOpener opener)
{
    InstalledOpener() = std::move(opener);
}

const CRegisterDlg::ScriptEditorOpener& CRegisterDlg::InstalledScriptEditorOpener()
{
    return InstalledOpener();
}

void CRegisterDlg::BuildMenus()
{
    auto targetAction = [this](QMenu* pMenu, const QString& strText, auto slot)
    {
        QAction* pAction = pMenu->addAction(strText, this, slot);
        m_TargetActions.push_back(pAction);
        return pAction;
    };
    QMenu* pRegister = menuBar()->addMenu(QStringLiteral("&Register"));
    QAction* pUpload =
        targetAction(pRegister, QStringLiteral("&Upload Register"), [this] { UploadRegister(m_iCurrent); });
    QAction* pDownload = targetAction(pRegister, QStringLiteral("&Download Register"),
                                      [this] { DownloadRegister(m_iCurrent); });
    pRegister->addSeparator();
    QAction* pUploadAll = targetAction(pRegister, QStringLiteral("Upload &All"), [this] { UploadAll(); });
    QAction* pDownloadAll =
        targetAction(pRegister, QStringLiteral("Download A&ll"), [this] { DownloadAll(); });
    pRegister->addSeparator();
    pRegister->addAction(QStringLiteral("Add to &Watch"), this, [this] { AddToWatch(m_iCurrent, -1); });
    pRegister->addSeparator();
    pRegister->addAction(QStringLiteral("&Close"), this, &QWidget::close);
    connect(pRegister, &QMenu::aboutToShow, this, &CRegisterDlg::UpdateActions);

    QMenu* pView = menuBar()->addMenu(QStringLiteral("&View"));
    auto* pBases = new QActionGroup(this);
    m_pHex = pView->addAction(QStringLiteral("&Hex"), this, [this] { SetDisplayBase(16); });
    m_pDecimal = pView->addAction(QStringLiteral("&Decimal"), this, [this] { SetDisplayBase(10); });
    m_pBinary = pView->addAction(QStringLiteral("&Binary"), this, [this] { SetDisplayBase(2); });
    for (QAction* pAction : {m_pHex, m_pDecimal, m_pBinary})
    {
        pAction->setCheckable(true);
        pBases->addAction(pAction);
    }
    BaseAction(m_eDisplayBase)->setChecked(true);
    pView->addSeparator();
    pView->addAction(QStringLiteral("&Collapse All"), this,
                     [this]
                     {
                         CancelEdit();
                         std::fill(m_Collapsed.begin(), m_Collapsed.end(), true);
                         Redraw();
                     });
    pView->addAction(QStringLiteral("&Expand All"), this,
                     [this]
                     {
                         std::fill(m_Collapsed.begin(), m_Collapsed.end(), false);
                         Redraw();
                     });
    pView->addSeparator();
    m_pEditReadOnly = pView->addAction(QStringLiteral("Edit &Read-Only Fields"), this,
                                       [this](bool bChecked) { SetEditReadOnly(bChecked); });
    m_pEditReadOnly->setCheckable(true);
    pView->addSeparator();
    pView->addAction(QStringLiteral("Generate &Report..."), this,
                     [this]
                     {
                         CRegisterReport report(m_document, m_Items);
                         report.GenerateReport();
                     });

    QMenu* pRecord = menuBar()->addMenu(QStringLiteral("Re&cord"));
    m_pRecord = pRecord->addAction(QStringLiteral("&Start Recording"), this, &CRegisterDlg::StartRecording);
    m_pPause = pRecord->addAction(QStringLiteral("&Pause Recording"), this,
                                  [this]
                                  {
                                      if (m_access.RecordState() == eRecordPaused)
                                      {
                                          ResumeRecording();
                                      }
                                      else
                                      {
                                          PauseRecording();
                                      }
                                  });
    m_pStop = pRecord->addAction(QStringLiteral("S&top Recording"), this, &CRegisterDlg::StopRecording);

    QToolBar* pTools = addToolBar(QStringLiteral("Register"));
    pTools->setObjectName(QStringLiteral("RegisterToolBar"));
    pTools->setMovable(false);
    pTools->addAction(pUpload);
    pTools->addAction(pDownload);
    pTools->addAction(pUploadAll);
    pTools->addAction(pDownloadAll);
    pTools->addSeparator();
    pTools->addAction(m_pHex);
    pTools->addAction(m_pDecimal);
    pTools->addAction(m_pBinary);
    pTools->addSeparator();
    pTools->addAction(m_pRecord);
    pTools->addAction(m_pPause);
    pTools->addAction(m_pStop);
    // Short names on the tool bar, so that it fits the page's width.
    const std::pair<QAction*, const char*> shortNames[] = {{pUpload, "Upload"},   {pDownload, "Download"},
                                                           {m_pDecimal, "Dec"},   {m_pBinary, "Bin"},
                                                           {m_pRecord, "Record"}, {m_pStop, "Stop"}};
    for (const auto& [pAction, pszText] : shortNames)
    {
        pAction->setIconText(QString::fromLatin1(pszText));
    }
    UpdateActions();
}

QAction* CRegisterDlg::BaseAction(int eBase) const
{
    return eBase == 2 ? m_pBinary : eBase == 10 ? m_pDecimal : m_pHex;
}

bool CRegisterDlg::LinkOpen() const
{
    return ShellRegisterTransport().IsOpen();
}

void CRegisterDlg::UpdateActions()
{
    const bool bOpen = LinkOpen();
    for (QAction* pAction : m_TargetActions)
    {
        pAction->setEnabled(bOpen && !m_Items.empty());
    }
    const int eState = m_access.RecordState();
    m_pRecord->setEnabled(eState == eRecordOff);
    m_pPause->setEnabled(eState != eRecordOff);
    m_pPause->setText(eState == eRecordPaused ? QStringLiteral("&Resume Recording")
                                              : QStringLiteral("&Pause Recording"));
    m_pPause->setIconText(eState == eRecordPaused ? QStringLiteral("Resume") : QStringLiteral("Pause"));
    m_pStop->setEnabled(eState != eRecordOff);
}

void CRegisterDlg::UpdateTitle()
{
    setWindowTitle(m_access.WindowTitle());
    UpdateActions();
}

void CRegisterDlg::Redraw()
{
    m_pView->UpdateSize();
    if (m_bEditOpen)
    {
        // The edit stays over its field when boxes above it change height.
        const QRect rect = m_pView->FieldTextRect(m_iEditItem, m_iEditField);
        m_pEdit->setGeometry(rect.left() + 2, rect.top() + rect.height() / 2 - 2,
                             std::max(rect.width() - 4, 96), rect.height() / 2);
        m_pCombo->move(rect.left() + 1, rect.bottom() + 1);
    }
}

bool CRegisterDlg::AddRegisters(CPEPrimitive& pe, const QString& strBlock, int iSet, int eType, int iRegister,
                                bool bClear)
{
    if (bClear)
    {
        CancelEdit();
        m_Items.clear();
        m_Collapsed.clear();
        m_iCurrent = -1;
        Redraw();
    }
    std::vector<RegisterItem> items;
    if (!MakeRegisterItems(pe, strBlock, iSet, eType, &items))
    {
        return false;
    }
    if (bClear)
    {
        m_nUploadAll = 0;
    }
    int& nAll = m_nUploadAll;
    bool bReachable = true;
    bool bUploaded = false;
    for (size_t r = 0; r < items.size(); ++r)
    {
        if (iRegister >= 0 && static_cast<int>(r) != iRegister)
        {
            continue;
        }
        const RegisterItem& item = items[r];
        if (LinkOpen() && bReachable && AskUploadThisRegister(this, &nAll) == eAnswerYes)
        {
            bReachable = m_access.PrepareAccess(pe);
            uint32_t ulValue = 0;
            bUploaded = bUploaded || bReachable;
            if (bReachable && m_access.UploadRegister(item, &ulValue) != 0)
            {
                // A register that can't be read now is shown all the same; the rest aren't asked.
                nAll = eAnswerNo;
            }
        }
        m_Items.push_back(item);
        m_Collapsed.push_back(false);
    }
    if (m_iCurrent < 0 && !m_Items.empty())
    {
        m_iCurrent = 0;
    }
    Redraw();
    UpdateActions();
    if (bUploaded)
    {
        emit valuesChanged();
    }
    return true;
}

bool CRegisterDlg::DropStaleItems()
{
    std::vector<RegisterItem> kept;
    std::vector<bool> collapsed;
    std::set<const CRegister*> known;
    std::set<const CPEPrimitive*> looked;
    for (size_t i = 0; i < m_Items.size(); ++i)
    {
        const RegisterItem& item = m_Items[i];
        CPEPrimitive* pPE = m_document.pCurrentPEs->GetByNodeNumber(item.iNodeNumber);
        if (pPE != item.pPE || !pPE || pPE->bDeleted)
        {
            continue;
        }
        if (looked.insert(pPE).second)
        {
            // The register objects live in the register cache, which a new map rebuilds.
            if (const CRegisterFileInfo* pInfo = RegisterFileOf(*pPE))
            {
                for (int b = 0; b < pInfo->GetNumBlocks(); ++b)
                {
                    for (int r = 0; r < pInfo->GetBlock(b)->GetNumRegisters(); ++r)
                    {
                        known.insert(pInfo->GetBlock(b)->GetRegister(r));
                    }
                }
            }
        }
        if (known.count(item.pRegister) == 0)
        {
            continue;
        }
        kept.push_back(item);
        collapsed.push_back(m_Collapsed[i]);
    }
    if (kept.size() == m_Items.size())
    {
        m_pView->update();
        return false;
    }
    CancelEdit();
    m_Items = std::move(kept);
    m_Collapsed = std::move(collapsed);
    m_iCurrent = m_Items.empty() ? -1 : 0;
    Redraw();
    UpdateActions();
    return true;
}

bool CRegisterDlg::IsCollapsed(int iItem) const
{
    return iItem >= 0 && static_cast<size_t>(iItem) < m_Collapsed.size() &&
           m_Collapsed[static_cast<size_t>(iItem)];
}

void CRegisterDlg::SetCollapsed(int iItem, bool bCollapsed)
{
    if (iItem < 0 || static_cast<size_t>(iItem) >= m_Collapsed.size())
    {
        return;
    }
    if (bCollapsed && m_bEditOpen && m_iEditItem == iItem)
    {
        CancelEdit();
    }
    m_Collapsed[static_cast<size_t>(iItem)] = bCollapsed;
    Redraw();
}

void CRegisterDlg::SetCurrentItem(int iItem)
{
    if (iItem >= -1 && iItem < static_cast<int>(m_Items.size()))
    {
        m_iCurrent = iItem;
        m_pView->update();
    }
}

const SRegisterValue* CRegisterDlg::StoredValue(int iItem) const
{
    if (iItem < 0 || static_cast<size_t>(iItem) >= m_Items.size())
    {
        return nullptr;
    }
    const RegisterItem& item = m_Items[static_cast<size_t>(iItem)];
    if (!item.pValues)
    {
        return nullptr;
    }
    return item.eType == 1 && item.bIO ? item.pValues->FindIO(item.uLocalAddr, item.uRIOAddr)
                                       : item.pValues->Find(item.uOffset);
}

bool CRegisterDlg::UploadRegister(int iItem)
{
    if (iItem < 0 || static_cast<size_t>(iItem) >= m_Items.size())
    {
        return false;
    }
    CancelEdit();
    const RegisterItem& item = m_Items[static_cast<size_t>(iItem)];
    uint32_t ulValue = StoredValue(iItem) ? StoredValue(iItem)->uValue : 0;
    const bool bOk = m_access.PrepareAccess(*item.pPE) && m_access.UploadRegister(item, &ulValue) == 0;
    Redraw();
    emit valuesChanged();
    return bOk;
}

bool CRegisterDlg::DownloadRegister(int iItem)
{
    if (iItem < 0 || static_cast<size_t>(iItem) >= m_Items.size())
    {
        return false;
    }
    CancelEdit();
    const SRegisterValue* pValue = StoredValue(iItem);
    if (!pValue)
    {
        ShowMessage(QStringLiteral("Nothing to download."), EMessageKind::Information);
        return false;
    }
    // One register goes as DownloadAll takes each: written, then read back.
    const std::vector<RegisterItem> one{m_Items[static_cast<size_t>(iItem)]};
    const bool bOk = m_access.DownloadAll(one) == 1;
    Redraw();
    emit valuesChanged();
    return bOk;
}

int CRegisterDlg::UploadAll()
{
    CancelEdit();
    const int nDone = m_access.UploadAll(m_Items);
    Redraw();
    emit valuesChanged();
    return nDone;
}

int CRegisterDlg::DownloadAll()
{
    CancelEdit();
    const int nDone = m_access.DownloadAll(m_Items);
    Redraw();
    emit valuesChanged();
    return nDone;
}

void CRegisterDlg::SetDisplayBase(int eBase)
{
    if (eBase != 2 && eBase != 10 && eBase != 16)
    {
        return;
    }
    CancelEdit();
    m_eDisplayBase = eBase;
    for (const RegisterItem& item : m_Items)
    {
        // The base belongs to the register description, which the cache keeps for every window.
        const_cast<CRegister*>(item.pRegister)->eDisplayBase = static_cast<uint32_t>(eBase);
    }
    BaseAction(eBase)->setChecked(true);
    Redraw();
}

void CRegisterDlg::StartRecording()
{
    m_access.StartRecording();
    UpdateTitle();
}

void CRegisterDlg::PauseRecording()
{
    m_access.PauseRecording();
    UpdateTitle();
}

void CRegisterDlg::ResumeRecording()
{
    m_access.ResumeRecording();
    UpdateTitle();
}

void CRegisterDlg::StopRecording()
{
    const QString strText = m_access.StopRecording();
    UpdateTitle();
    if (strText.isEmpty())
    {
        return;
    }
    UI().ShowMessage(strText, QStringLiteral("Transaction Log"), EMessageKind::Information);
    if (InstalledOpener())
    {
        InstalledOpener()(this, m_Items.empty() ? nullptr : m_Items.front().pPE, strText);
    }
}

bool CRegisterDlg::BeginEdit(int iItem, int iField)
{
    if (iItem < 0 || static_cast<size_t>(iItem) >= m_Items.size() || IsCollapsed(iItem))
    {
        return false;
    }
    const RegisterItem& item = m_Items[static_cast<size_t>(iItem)];
    const CBitField* pField = item.pRegister->GetBitField(iField);
    if (!pField || (pField->iAccess != eAccessReadWrite && !m_bEditReadOnly))
    {
        return false;
    }
    CancelEdit();
    // A register without a value starts from 0, not yet confirmed by the hardware.
    if (!StoredValue(iItem) && item.pValues)
    {
        if (item.eType == 1 && item.bIO)
        {
            item.pValues->SetIOValue(item.uLocalAddr, item.uRIOAddr, 0, true);
        }
        else
        {
            item.pValues->SetValue(item.uOffset, 0, true);
        }
    }
    const uint32_t ulValue = pField->Extract(StoredValue(iItem)->uValue, item.pRegister->GetNumBits());
    m_bEditOpen = true;
    m_iEditItem = iItem;
    m_iEditField = iField;
    m_pEdit->setText(RegisterFieldValueText(ulValue, m_eDisplayBase));
    m_pEdit->setFont(ValueFont());
    m_pCombo->clear();
    if (!pField->Values.isEmpty())
    {
        const QSignalBlocker blocker(m_pCombo);
        m_pCombo->addItems(pField->Values);
        int iSelected = 0;
        for (int i = 0; i < pField->Values.size(); ++i)
        {
            int64_t number = 0;
            if (LeadingDecimal(pField->Values[i], &number) && number == static_cast<int64_t>(ulValue))
            {
                iSelected = i;
                break;
            }
        }
        m_pCombo->setCurrentIndex(iSelected);
        const QRect rect = m_pView->FieldTextRect(iItem, iField);
        // As wide as its longest entry, within the page.
        int iWidest = 0;
        for (const QString& strEntry : pField->Values)
        {
            iWidest = std::max(iWidest, m_pCombo->fontMetrics().horizontalAdvance(strEntry));
        }
        const int iWidth = std::clamp(iWidest + 48, std::max(rect.width(), 240), kWidth - 2 * kLeft);
        m_pCombo->setFixedSize(iWidth, m_pCombo->sizeHint().height());
        m_pCombo->show();
        m_pCombo->raise();
    }
    m_pEdit->show();
    m_pEdit->raise();
    Redraw();
    // Keep the combo on the page: a box near the right edge has it open to the left.
    if (m_pCombo->isVisible() && m_pCombo->geometry().right() > kWidth - kLeft)
    {
        m_pCombo->move(kWidth - kLeft - m_pCombo->width(), m_pCombo->y());
    }
    m_pScroll->ensureWidgetVisible(m_pCombo->isVisible() ? static_cast<QWidget*>(m_pCombo) : m_pEdit, 10, 10);
    m_pEdit->setFocus();
    m_pEdit->selectAll();
    m_pView->update();
    return true;
}

void CRegisterDlg::OnComboChosen(int iIndex)
{
    if (!m_bEditOpen || iIndex < 0 || iIndex >= m_pCombo->count())
    {
        return;
    }
    const QString strEntry = m_pCombo->itemText(iIndex);
    uint64_t ulValue = 0;
    if (!NumberFromText(strEntry.section(QLatin1Char('='), 0, 0), &ulValue))
    {
        ShowMessage(QStringLiteral("Invalid <Value> field in .reg file"));
        return;
    }
    m_pEdit->setText(RegisterFieldValueText(ulValue, m_eDisplayBase));
    m_pEdit->setFocus();
    m_pEdit->selectAll();
}

bool CRegisterDlg::CommitEdit()
{
    if (!m_bEditOpen)
    {
        return false;
    }
    const RegisterItem& item = m_Items[static_cast<size_t>(m_iEditItem)];
    const QString strText = m_pEdit->text();
    bool bOk = false;
    if (LinkOpen())
    {
        bOk = m_access.CommitField(item, m_iEditField, strText);
    }
    else
    {
        // Without a target the map keeps the new value, to be written when one is connected.
        const CBitField& field = *item.pRegister->GetBitField(m_iEditField);
        const uint64_t ulMax = (1ull << std::clamp(field.iNumBits, 1, 63)) - 1;
        uint64_t ulField = 0;
        if (!NumberFromText(strText, ulMax, &ulField))
        {
            ShowMessage(InvalidEntryText());
        }
        else
        {
            const int iBits = item.pRegister->GetNumBits();
            const uint32_t ulMask = field.GetMask(iBits);
            const uint32_t ulNew =
                (StoredValue(m_iEditItem)->uValue & ~ulMask) |
                ((static_cast<uint32_t>(ulField) << (iBits - 1 - field.iLastBit)) & ulMask);
            if (item.eType == 1 && item.bIO)
            {
                item.pValues->SetIOValue(item.uLocalAddr, item.uRIOAddr, ulNew, true);
            }
            else
            {
                item.pValues->SetValue(item.uOffset, ulNew, true);
            }
            bOk = true;
        }
    }
    if (!bOk)
    {
        // The edit stays open for the person to put right.
        m_pEdit->setFocus();
        m_pEdit->selectAll();
        return false;
    }
    CancelEdit();
    Redraw();
    emit valuesChanged();
    return true;
}

void CRegisterDlg::CancelEdit()
{
    if (!m_bEditOpen)
    {
        return;
    }
    m_bEditOpen = false;
    m_iEditItem = m_iEditField = -1;
    m_pEdit->hide();
    m_pCombo->hide();
    m_pView->update();
}

bool CRegisterDlg::eventFilter(QObject* pObject, QEvent* pEvent)
{
    if ((pObject == m_pEdit || pObject == m_pCombo) && pEvent->type() == QEvent::KeyPress)
    {
        const int iKey = static_cast<QKeyEvent*>(pEvent)->key();
        if (iKey == Qt::Key_Escape)
        {
            CancelEdit();
            return true;
        }
        if (iKey == Qt::Key_Return || iKey == Qt::Key_Enter)
        {
            if (pObject == m_pCombo && m_pCombo->view()->isVisible())
            {
                return false;
            }
            CommitEdit();
            return true;
        }
    }
    return QMainWindow::eventFilter(pObject, pEvent);
}

void CRegisterDlg::AddToWatch(int iItem, int iField)
{
    if (iItem < 0 || static_cast<size_t>(iItem) >= m_Items.size())
    {
        return;
    }
    const SRegisterValue* pValue = StoredValue(iItem);
    if (!pValue)
    {
        ShowMessage(QStringLiteral("Please upload the register first."), EMessageKind::Information);
        return;
    }
    const RegisterItem& item = m_Items[static_cast<size_t>(iItem)];
    if (item.bIO || item.eType != eTOCRegister)
    {
        ShowMessage(QStringLiteral("Only maintenance registers can be watched."), EMessageKind::Information);
        return;
    }
    SWatchRequest request;
    request.iPEID = m_document.ActivePEs.GetIndexOf(item.pPE);
    request.uDestID = item.pPE->bUsesDestID ? item.pPE->GetDestID() : uint16_t(0xFFFF);
    request.RegName = item.pRegister->Name;
    request.uOffset = item.uOffset;
    request.ulValue = pValue->uValue;
    if (const CBitField* pField = iField >= 0 ? item.pRegister->GetBitField(iField) : nullptr)
    {
        request.BFName = pField->Name;
        request.iNumBits = pField->iNumBits;
        request.iLast = pField->iLastBit;
        request.iFirst = pField->iFirstBit;
    }
    emit watchRequested(request);
}

void CRegisterDlg::OnPopup(int iItem, int iField, const QPoint& globalAt)
{
    CancelEdit();
    SetCurrentItem(iItem);
    QMenu menu(this);
    const bool bOpen = LinkOpen();
    menu.addAction(QStringLiteral("Upload Register"), this, [this, iItem] { UploadRegister(iItem); })
        ->setEnabled(bOpen);
    menu.addAction(QStringLiteral("Download Register"), this, [this, iItem] { DownloadRegister(iItem); })
        ->setEnabled(bOpen);
    menu.addSeparator();
    if (iField >= 0)
    {
        menu.addAction(QStringLiteral("Edit Field"), this,
                       [this, iItem, iField] { BeginEdit(iItem, iField); })
            ->setEnabled(m_bEditReadOnly ||
                         m_Items[static_cast<size_t>(iItem)].pRegister->GetBitField(iField)->iAccess ==
                             eAccessReadWrite);
    }
    menu.addAction(iField >= 0 ? QStringLiteral("Add Field to Watch") : QStringLiteral("Add to Watch"), this,
                   [this, iItem, iField] { AddToWatch(iItem, iField); });
    menu.addSeparator();
    menu.addAction(IsCollapsed(iItem) ? QStringLiteral("Expand") : QStringLiteral("Collapse"), this,
                   [this, iItem] { SetCollapsed(iItem, !IsCollapsed(iItem)); });
    menu.exec(globalAt);
}

// ---------------------------------------------------------------------------------------------
// Opening the editor from the register tree

namespace
{
int TreeItemType(const CPEPrimitive& pe, const SRegisterTreeItem& item)
{
    return I2CBlockNames(pe).contains(item.pBlock->Name) ? eTOCI2C : eTOCRegister;
}
} // namespace

bool EditRegisterTreeItem(CRegisterDlg& dialog, CPEPrimitive& pe, int iTreeItem, bool bClear)
{
    const CRegisterFileInfo* pInfo = RegisterFileOf(pe);
    if (!pInfo)
    {
        ShowMessage(QStringLiteral("Unable to load register info."));
        return false;
    }
    const std::vector<SRegisterTreeItem> items = RegisterTreeItems(*pInfo);
    if (iTreeItem < 0 || static_cast<size_t>(iTreeItem) >= items.size())
    {
        return false;
    }
    const SRegisterTreeItem& item = items[static_cast<size_t>(iTreeItem)];
    const int eType = TreeItemType(pe, item);
    if (item.eKind == eTreeRegister)
    {
        return dialog.AddRegisters(pe, item.pBlock->Name, item.iSet, eType, item.iRegister, bClear);
    }
    if (item.eKind == eTreeSet || item.pBlock->GetNumSets() == 0)
    {
        return dialog.AddRegisters(pe, item.pBlock->Name, item.iSet, eType, -1, bClear);
    }
    // A block's title: every set of it.
    for (int s = 0; s < item.pBlock->GetNumSets(); ++s)
    {
        if (!dialog.AddRegisters(pe, item.pBlock->Name, s, eType, -1, bClear && s == 0))
        {
            return false;
        }
    }
    return true;
}

int EditAllLikeThis(CRegisterDlg& dialog, CNetworkDocument& document, const CPEPrimitive& pe, int iTreeItem)
{
    const CRegisterFileInfo* pInfo = RegisterFileOf(pe);
    if (!pInfo)
    {
        ShowMessage(QStringLiteral("Unable to load register info."));
        return 0;
    }
    const std::vector<SRegisterTreeItem> items = RegisterTreeItems(*pInfo);
    if (iTreeItem < 0 || static_cast<size_t>(iTreeItem) >= items.size() ||
        items[static_cast<size_t>(iTreeItem)].eKind != eTreeRegister)
    {
        return 0;
    }
    const SRegisterTreeItem& item = items[static_cast<size_t>(iTreeItem)];
    const int eType = TreeItemType(pe, item);
    bool bClear = true;
    for (CPEPrimitive* pOther : document.pCurrentPEs->LivePEsInNodeOrder())
    {
        if (pOther->DeviceID != pe.DeviceID || pOther->ManufID != pe.ManufID ||
            (pOther->uType & kPETypeSwitch) != (pe.uType & kPETypeSwitch))
        {
            continue;
        }
        for (int s = item.pBlock->GetNumSets() > 0 ? 0 : -1; s < item.pBlock->GetNumSets() || s == -1; ++s)
        {
            if (!dialog.AddRegisters(*pOther, item.pBlock->Name, s, eType, item.iRegister, bClear))
            {
                return static_cast<int>(dialog.Items().size());
            }
            bClear = false;
            if (s == -1)
            {
                break;
            }
        }
    }
    return static_cast<int>(dialog.Items().size());
}
