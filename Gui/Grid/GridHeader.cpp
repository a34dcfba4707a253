// The heading area: rows of heading cells painted over the column sections, each cell as wide as
// the columns it spans and as high as the heading rows it spans, its lines centred.
#include "GridParts.h"

#include <QHelpEvent>
#include <QPainter>
#include <QToolTip>

#include <algorithm>

namespace
{
constexpr int kHorizontalMargin = 4; // each side of a heading's widest line
constexpr int kVerticalMargin = 3;   // above and below a heading's lines
const QColor kDefaultHeadingColour(0xE4, 0xE4, 0xE4);
const QColor kHeadingLineColour(0xA0, 0xA0, 0xA0);

int LineCount(const QString& strText)
{
    return strText.isEmpty() ? 1 : static_cast<int>(strText.count(QLatin1Char('\n'))) + 1;
}
} // namespace

CGridHeader::CGridHeader(QWidget* pParent) : QHeaderView(Qt::Horizontal, pParent)
{
    setSectionsClickable(false);
    setSectionsMovable(false);
    setHighlightSections(false);
    setSectionResizeMode(QHeaderView::Fixed);
    setStretchLastSection(false);
    setMouseTracking(true);
    m_rowHeights.assign(1, 0);
    ComputeRowHeights();
}

void CGridHeader::SetRowCount(int iRows)
{
    m_iRows = std::max(0, iRows);
    std::erase_if(m_headings, [&](const SGridHeading& heading) { return heading.iRow >= m_iRows; });
    for (SGridHeading& heading : m_headings)
        heading.iRowSpan = std::min(heading.iRowSpan, m_iRows - heading.iRow);
}

const SGridHeading* CGridHeader::At(int iRow, int iColumn) const
{
    for (const SGridHeading& heading : m_headings)
        if (heading.Covers(iRow, iColumn))
            return &heading;
    return nullptr;
}

SGridHeading* CGridHeader::At(int iRow, int iColumn)
{
    for (SGridHeading& heading : m_headings)
        if (heading.Covers(iRow, iColumn))
            return &heading;
    return nullptr;
}

SGridHeading& CGridHeader::Place(int iRow, int iColumn, int iColumnSpan, int iRowSpan)
{
    SGridHeading area{iRow, iColumn, std::max(1, iColumnSpan), std::max(1, iRowSpan)};
    // A heading placed again where one started keeps its colour and tool tip.
    for (const SGridHeading& heading : m_headings)
        if (heading.iRow == iRow && heading.iColumn == iColumn)
        {
            area.crColour = heading.crColour;
            area.strToolTip = heading.strToolTip;
        }
    // A heading that shares any place with the new one goes.
    std::erase_if(m_headings,
                  [&](const SGridHeading& heading)
                  {
                      return heading.iRow < area.iRow + area.iRowSpan &&
                             area.iRow < heading.iRow + heading.iRowSpan &&
                             heading.iColumn < area.iColumn + area.iColumnSpan &&
                             area.iColumn < heading.iColumn + heading.iColumnSpan;
                  });
    m_headings.push_back(area);
    return m_headings.back();
}

void CGridHeader::Trim(int iColumns)
{
    std::erase_if(m_headings, [&](const SGridHeading& heading) { return heading.iColumn >= iColumns; });
    for (SGridHeading& heading : m_headings)
        heading.iColumnSpan = std::min(heading.iColumnSpan, iColumns - heading.iColumn);
    m_columnToolTips.resize(static_cast<size_t>(std::max(0, iColumns)));
}

void CGridHeader::Clear()
{
    m_headings.clear();
    std::fill(m_columnToolTips.begin(), m_columnToolTips.end(), QString());
}

int CGridHeader::TextWidth(const SGridHeading& heading) const
{
    const QFontMetrics metrics(font());
    int iWidest = 0;
    for (const QString& strLine : heading.strText.split(QLatin1Char('\n')))
        iWidest = std::max(iWidest, metrics.horizontalAdvance(strLine));
    return iWidest + 2 * kHorizontalMargin + 1;
}

void CGridHeader::ComputeRowHeights()
{
    const QFontMetrics metrics(font());
    const int iOneLine = metrics.height() + 2 * kVerticalMargin;
    const auto Needed = [&](const SGridHeading& heading) {
        return (LineCount(heading.strText) - 1) * metrics.lineSpacing() + metrics.height() +
               2 * kVerticalMargin;
    };
    m_rowHeights.assign(static_cast<size_t>(m_iRows), iOneLine);
    for (const SGridHeading& heading : m_headings)
        if (heading.iRowSpan == 1)
            m_rowHeights[static_cast<size_t>(heading.iRow)] =
                std::max(m_rowHeights[static_cast<size_t>(heading.iRow)], Needed(heading));
    // A heading over several rows that still lacks room gets it in its last row.
    for (const SGridHeading& heading : m_headings)
    {
        if (heading.iRowSpan == 1)
            continue;
        int iHave = 0;
        for (int r = heading.iRow; r < heading.iRow + heading.iRowSpan; ++r)
            iHave += m_rowHeights[static_cast<size_t>(r)];
        if (iHave < Needed(heading))
            m_rowHeights[static_cast<size_t>(heading.iRow + heading.iRowSpan - 1)] += Needed(heading) - iHave;
    }
}

int CGridHeader::TotalHeight() const
{
    int iTotal = 0;
    for (int iHeight : m_rowHeights)
        iTotal += iHeight;
    return iTotal;
}

QRect CGridHeader::HeadingRect(const SGridHeading& heading) const
{
    if (heading.iColumn + heading.iColumnSpan > count())
        return {};
    int iTop = 0;
    for (int r = 0; r < heading.iRow; ++r)
        iTop += m_rowHeights[static_cast<size_t>(r)];
    int iHeight = 0;
    for (int r = heading.iRow; r < heading.iRow + heading.iRowSpan; ++r)
        iHeight += m_rowHeights[static_cast<size_t>(r)];
    const int iLast = heading.iColumn + heading.iColumnSpan - 1;
    const int iLeft = sectionViewportPosition(heading.iColumn);
    const int iRight = sectionViewportPosition(iLast) + sectionSize(iLast);
    return QRect(iLeft, iTop, iRight - iLeft, iHeight);
}

QString CGridHeader::ToolTipAt(const QPoint& point) const
{
    const int iColumn = logicalIndexAt(point.x());
    if (iColumn < 0)
        return {};
    int iRow = 0;
    for (int iTop = 0; iRow < m_iRows; ++iRow)
    {
        iTop += m_rowHeights[static_cast<size_t>(iRow)];
        if (point.y() < iTop)
            break;
    }
    if (iRow >= m_iRows)
        return {};
    if (const SGridHeading* pHeading = At(iRow, iColumn); pHeading && !pHeading->strToolTip.isEmpty())
        return pHeading->strToolTip;
    return iColumn < static_cast<int>(m_columnToolTips.size())
               ? m_columnToolTips[static_cast<size_t>(iColumn)]
               : QString();
}

QSize CGridHeader::sizeHint() const
{
    return QSize(length(), TotalHeight());
}

void CGridHeader::paintEvent(QPaintEvent* pEvent)
{
    QPainter painter(viewport());
    painter.setClipRegion(pEvent->region());
    painter.setFont(font());
    // First the bare places no heading covers, one per column and row, then the headings.
    for (int c = 0; c < count(); ++c)
    {
        int iTop = 0;
        for (int r = 0; r < m_iRows; ++r)
        {
            const int iHeight = m_rowHeights[static_cast<size_t>(r)];
            if (!At(r, c))
            {
                const QRect place(sectionViewportPosition(c), iTop, sectionSize(c), iHeight);
                painter.fillRect(place, kDefaultHeadingColour);
                painter.setPen(kHeadingLineColour);
                painter.drawLine(place.topRight(), place.bottomRight());
                painter.drawLine(place.bottomLeft(), place.bottomRight());
            }
            iTop += iHeight;
        }
    }
    for (const SGridHeading& heading : m_headings)
    {
        const QRect rect = HeadingRect(heading);
        if (rect.isEmpty() || !pEvent->rect().intersects(rect))
            continue;
        painter.fillRect(rect, heading.crColour.isValid() ? heading.crColour : kDefaultHeadingColour);
        painter.setPen(kHeadingLineColour);
        painter.drawLine(rect.topRight(), rect.bottomRight());
        painter.drawLine(rect.bottomLeft(), rect.bottomRight());
        painter.setPen(palette().color(QPalette::ButtonText));
        painter.drawText(
            rect.adjusted(kHorizontalMargin, kVerticalMargin, -kHorizontalMargin, -kVerticalMargin),
            Qt::AlignCenter, heading.strText);
    }
}

bool CGridHeader::viewportEvent(QEvent* pEvent)
{
    if (pEvent->type() == QEvent::ToolTip)
    {
        auto* pHelp = static_cast<QHelpEvent*>(pEvent);
        const QString strTip = ToolTipAt(pHelp->pos());
        if (strTip.isEmpty())
            QToolTip::hideText();
        else
            QToolTip::showText(pHelp->globalPos(), strTip, viewport());
        return true;
    }
    return QHeaderView::viewportEvent(pEvent);
}
