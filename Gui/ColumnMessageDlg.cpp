#include "ColumnMessageDlg.h"

#include <QDialogButtonBox>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QStyle>
#include <QVBoxLayout>

namespace
{
// Room between the longest name and the values.
constexpr int kColumnGap = 24;

QLabel* MakeLabel(const QString& strText)
{
    auto* pLabel = new QLabel(strText);
    pLabel->setTextFormat(Qt::PlainText);
    pLabel->setTextInteractionFlags(Qt::TextSelectableByMouse);
    return pLabel;
}
} // namespace

bool CColumnMessageDlg::HasColumns(const QString& strText)
{
    int nTabbed = 0;
    for (const QString& strLine : strText.split(QLatin1Char('\n')))
    {
        nTabbed += strLine.contains(QLatin1Char('\t')) ? 1 : 0;
    }
    return nTabbed >= 2;
}

CColumnMessageDlg::CColumnMessageDlg(const QString& strText, const QString& strTitle, EMessageKind eKind,
                                     QWidget* pParent)
    : QDialog(pParent)
{
    setWindowTitle(strTitle);
    auto* pLayout = new QVBoxLayout(this);
    auto* pBody = new QHBoxLayout;
    const QStyle::StandardPixmap eIcon = eKind == EMessageKind::Error     ? QStyle::SP_MessageBoxCritical
                                         : eKind == EMessageKind::Warning ? QStyle::SP_MessageBoxWarning
                                                                          : QStyle::SP_MessageBoxInformation;
    auto* pIcon = new QLabel;
    const int iIconSize = style()->pixelMetric(QStyle::PM_MessageBoxIconSize, nullptr, this);
    pIcon->setPixmap(style()->standardIcon(eIcon, nullptr, this).pixmap(iIconSize, iIconSize));
    pBody->addWidget(pIcon, 0, Qt::AlignTop);
    auto* pGrid = new QGridLayout;
    pGrid->setHorizontalSpacing(kColumnGap);
    pGrid->setVerticalSpacing(2);
    int iRow = 0;
    for (QString strLine : strText.split(QLatin1Char('\n')))
    {
        strLine.remove(QLatin1Char('\r'));
        const qsizetype iTab = strLine.indexOf(QLatin1Char('\t'));
        if (iTab < 0)
        {
            pGrid->addWidget(MakeLabel(strLine), iRow++, 0, 1, 2);
            continue;
        }
        qsizetype iValue = iTab;
        while (iValue < strLine.size() && strLine[iValue] == QLatin1Char('\t'))
        {
            ++iValue;
        }
        // Further tabs inside the value stand for a gap within it.
        const QString strValue = strLine.mid(iValue).replace(QLatin1Char('\t'), QStringLiteral("    "));
        QLabel* pName = MakeLabel(strLine.left(iTab));
        QLabel* pValue = MakeLabel(strValue);
        pGrid->addWidget(pName, iRow, 0);
        pGrid->addWidget(pValue, iRow, 1);
        m_Names << pName;
        m_Values << pValue;
        ++iRow;
    }
    pGrid->setColumnStretch(1, 1);
    pBody->addLayout(pGrid, 1);
    pLayout->addLayout(pBody);
    auto* pButtons = new QDialogButtonBox(QDialogButtonBox::Ok);
    connect(pButtons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    pLayout->addWidget(pButtons);
    pLayout->setSizeConstraint(QLayout::SetFixedSize);
}
