// Painting and editing of the value cells. Every cell is painted whole here (background, text,
// a drop-list arrow, a button, a check box) so that a coloured cell keeps its colour when it is
// the current one: the current cell gets a frame rather than a selection fill.
#include "GridParts.h"

#include <algorithm>

#include <QApplication>
#include <QComboBox>
#include <QLineEdit>
#include <QMouseEvent>
#include <QPainter>
#include <QTimer>

namespace
{
constexpr int kTextMargin = 4;   // left and right of a cell's text
constexpr int kArrowWidth = 14;  // the drop-list arrow at a cell's right
constexpr int kButtonInset = 2;  // a button cell's button inside its cell
constexpr int kButtonMargin = 8; // each side of a button's caption
const QColor kDefaultBackground(Qt::white);
const QColor kReadOnlyBackground(0xF0, 0xF0, 0xF0);

// A drop-list editor remembers whether the user chose an entry; losing focus without a choice
// reports nothing.
const char* const kChosenProperty = "nvGridChosen";

QColor BackgroundOf(const SGridCell& cell)
{
    if (cell.crBackground.isValid())
        return cell.crBackground;
    return cell.bReadOnly ? kReadOnlyBackground : kDefaultBackground;
}

QRect CheckIndicatorRect(const QStyleOptionViewItem& option, const SGridCell& cell)
{
    QStyleOptionButton box;
    box.rect = option.rect;
    const QStyle* pStyle = option.widget ? option.widget->style() : QApplication::style();
    const QRect indicator = pStyle->subElementRect(QStyle::SE_CheckBoxIndicator, &box, option.widget);
    const int iTop = option.rect.top() + (option.rect.height() - indicator.height()) / 2;
    if (cell.strText.isEmpty())
        return QRect(option.rect.left() + (option.rect.width() - indicator.width()) / 2, iTop,
                     indicator.width(), indicator.height());
    return QRect(option.rect.left() + kTextMargin, iTop, indicator.width(), indicator.height());
}
} // namespace

CGridDelegate::CGridDelegate(CGridCtrl& grid, CGridModel& model)
    : QStyledItemDelegate(&grid), m_grid(grid), m_model(model)
{
}

int CGridDelegate::ContentWidth(const SGridCell& cell, const QFontMetrics& metrics) const
{
    // A text of several lines needs its widest line.
    int iText = 0;
    for (const QString& strLine : cell.strText.split(QLatin1Char('\n')))
        iText = std::max(iText, metrics.horizontalAdvance(strLine));
    switch (cell.eKind)
    {
    case EGridCellKind::eText:
        return iText + 2 * kTextMargin + 1;
    case EGridCellKind::eDropList:
    {
        // Wide enough for the chosen entry; the list itself opens as wide as its longest entry.
        return iText + 2 * kTextMargin + kArrowWidth + 1;
    }
    case EGridCellKind::eButton:
        return iText + 2 * (kButtonInset + kButtonMargin) + 1;
    case EGridCellKind::eCheck:
    {
        const int iIndicator = m_grid.style()->pixelMetric(QStyle::PM_IndicatorWidth, nullptr, &m_grid);
        return iIndicator + 2 * kTextMargin + (cell.strText.isEmpty() ? 0 : iText + kTextMargin) + 1;
    }
    }
    return iText;
}

void CGridDelegate::paint(QPainter* pPainter, const QStyleOptionViewItem& option,
                          const QModelIndex& index) const
{
    if (!m_model.Contains(index.row(), index.column()))
        return;
    const SGridCell& cell = m_model.At(index.row(), index.column());
    const QStyle* pStyle = m_grid.style();
    pPainter->save();
    pPainter->fillRect(option.rect, BackgroundOf(cell));
    const QColor crText = cell.crText.isValid() ? cell.crText : option.palette.color(QPalette::Text);
    QRect textRect = option.rect.adjusted(kTextMargin, 0, -kTextMargin, 0);

    switch (cell.eKind)
    {
    case EGridCellKind::eText:
        break;
    case EGridCellKind::eDropList:
    {
        QStyleOption arrow;
        arrow.rect =
            QRect(option.rect.right() - kArrowWidth, option.rect.top(), kArrowWidth, option.rect.height());
        arrow.palette = option.palette;
        arrow.state = QStyle::State_Enabled;
        pStyle->drawPrimitive(QStyle::PE_IndicatorArrowDown, &arrow, pPainter, &m_grid);
        textRect.setRight(option.rect.right() - kArrowWidth);
        break;
    }
    case EGridCellKind::eButton:
    {
        QStyleOptionButton button;
        button.rect = option.rect.adjusted(kButtonInset, kButtonInset, -kButtonInset, -kButtonInset);
        button.text = cell.strText;
        button.palette = option.palette;
        button.fontMetrics = option.fontMetrics;
        button.state = QStyle::State_Enabled | QStyle::State_Raised;
        if (cell.bReadOnly)
            button.state &= ~QStyle::State_Enabled;
        if (m_pressed.isValid() && m_pressed == index)
            button.state = (button.state & ~QStyle::State_Raised) | QStyle::State_Sunken;
        pStyle->drawControl(QStyle::CE_PushButton, &button, pPainter, &m_grid);
        textRect = QRect();
        break;
    }
    case EGridCellKind::eCheck:
    {
        QStyleOptionButton box;
        box.rect = CheckIndicatorRect(option, cell);
        box.palette = option.palette;
        box.state = (cell.bReadOnly ? QStyle::State_None : QStyle::State_Enabled) |
                    (cell.bChecked ? QStyle::State_On : QStyle::State_Off);
        pStyle->drawPrimitive(QStyle::PE_IndicatorCheckBox, &box, pPainter, &m_grid);
        textRect.setLeft(box.rect.right() + kTextMargin);
        if (cell.strText.isEmpty())
            textRect = QRect();
        break;
    }
    }
    if (textRect.isValid())
    {
        pPainter->setPen(crText);
        pPainter->setFont(option.font);
        pPainter->drawText(textRect, Qt::AlignLeft | Qt::AlignVCenter, cell.strText);
    }
    if (option.state & QStyle::State_HasFocus)
    {
        pPainter->setPen(QPen(option.palette.color(QPalette::Highlight), 2));
        pPainter->setBrush(Qt::NoBrush);
        pPainter->drawRect(option.rect.adjusted(1, 1, -1, -1));
    }
    pPainter->restore();
}

QWidget* CGridDelegate::createEditor(QWidget* pParent, const QStyleOptionViewItem&,
                                     const QModelIndex& index) const
{
    if (!m_model.Contains(index.row(), index.column()))
        return nullptr;
    const SGridCell& cell = m_model.At(index.row(), index.column());
    if (cell.bReadOnly)
        return nullptr;
    if (cell.eKind == EGridCellKind::eText)
    {
        auto* pEdit = new QLineEdit(pParent);
        pEdit->setFrame(false);
        return pEdit;
    }
    if (cell.eKind == EGridCellKind::eDropList)
    {
        auto* pCombo = new QComboBox(pParent);
        for (const SGridOption& entry : cell.options)
            pCombo->addItem(entry.strText);
        pCombo->setProperty(kChosenProperty, false);
        // Choosing an entry ends the edit at once; the choice is reported by setModelData.
        QObject::connect(pCombo, &QComboBox::activated, pCombo,
                         [this, pCombo](int)
                         {
                             pCombo->setProperty(kChosenProperty, true);
                             emit const_cast<CGridDelegate*>(this)->commitData(pCombo);
                             emit const_cast<CGridDelegate*>(this)->closeEditor(
                                 pCombo, QAbstractItemDelegate::NoHint);
                         });
        // The list opens as the edit starts, so one click or key chooses.
        QTimer::singleShot(0, pCombo,
                           [pCombo]
                           {
                               if (pCombo->isVisible())
                                   pCombo->showPopup();
                           });
        return pCombo;
    }
    return nullptr;
}

void CGridDelegate::setEditorData(QWidget* pEditor, const QModelIndex& index) const
{
    if (!m_model.Contains(index.row(), index.column()))
        return;
    const SGridCell& cell = m_model.At(index.row(), index.column());
    if (auto* pCombo = qobject_cast<QComboBox*>(pEditor))
    {
        pCombo->setCurrentIndex(cell.iSelected);
        return;
    }
    if (auto* pEdit = qobject_cast<QLineEdit*>(pEditor))
    {
        pEdit->setText(cell.strText);
        pEdit->selectAll();
    }
}

void CGridDelegate::setModelData(QWidget* pEditor, QAbstractItemModel* pModel, const QModelIndex& index) const
{
    if (auto* pCombo = qobject_cast<QComboBox*>(pEditor))
    {
        if (pCombo->property(kChosenProperty).toBool())
            pModel->setData(index, pCombo->currentIndex(), CGridModel::kOptionRole);
        return;
    }
    if (auto* pEdit = qobject_cast<QLineEdit*>(pEditor))
        pModel->setData(index, pEdit->text(), Qt::EditRole);
}

void CGridDelegate::updateEditorGeometry(QWidget* pEditor, const QStyleOptionViewItem& option,
                                         const QModelIndex&) const
{
    QRect rect = option.rect.adjusted(1, 1, -1, -1);
    // A combo box shows its whole list entry even in a narrow column.
    if (auto* pCombo = qobject_cast<QComboBox*>(pEditor))
        rect.setWidth(std::max(rect.width(), pCombo->sizeHint().width()));
    pEditor->setGeometry(rect);
}

bool CGridDelegate::editorEvent(QEvent* pEvent, QAbstractItemModel* pModel,
                                const QStyleOptionViewItem& option, const QModelIndex& index)
{
    if (!m_model.Contains(index.row(), index.column()))
        return false;
    const SGridCell& cell = m_model.At(index.row(), index.column());
    const auto eType = pEvent->type();
    const bool bMouse = eType == QEvent::MouseButtonPress || eType == QEvent::MouseButtonRelease ||
                        eType == QEvent::MouseButtonDblClick;
    if (!bMouse || static_cast<QMouseEvent*>(pEvent)->button() != Qt::LeftButton)
        return false;
    const QPoint at = static_cast<QMouseEvent*>(pEvent)->position().toPoint();
    // A button let go of elsewhere springs back without a click.
    if (eType == QEvent::MouseButtonRelease && m_pressed.isValid() && m_pressed != index)
    {
        m_grid.viewport()->update(m_grid.visualRect(m_pressed));
        m_pressed = QPersistentModelIndex();
    }

    if (cell.eKind == EGridCellKind::eButton && !cell.bReadOnly)
    {
        if (eType == QEvent::MouseButtonPress || eType == QEvent::MouseButtonDblClick)
        {
            m_pressed = index;
            m_grid.viewport()->update(option.rect);
            return false; // the view still makes it the current cell
        }
        const bool bWasPressed = m_pressed.isValid() && m_pressed == index;
        m_pressed = QPersistentModelIndex();
        m_grid.viewport()->update(option.rect);
        if (bWasPressed && option.rect.contains(at))
            emit m_grid.ButtonClicked(index.row(), index.column());
        return true;
    }
    if (cell.eKind == EGridCellKind::eCheck && !cell.bReadOnly)
    {
        // The box toggles on a release over the cell; a double click doesn't toggle twice.
        if (eType != QEvent::MouseButtonRelease || !option.rect.contains(at))
            return eType == QEvent::MouseButtonDblClick;
        pModel->setData(index, cell.bChecked ? Qt::Unchecked : Qt::Checked, Qt::CheckStateRole);
        return true;
    }
    return false;
}
