// A message of "name:\tvalue" lines (the link status, PE and server information) shown as two
// columns that line up whatever the font: each line is split at its tabs, the names go in the
// first column and the values in the second. A line without a tab spans both.
#pragma once

#include "UserInterface.h"

#include <QDialog>
#include <QList>

class QLabel;

class CColumnMessageDlg : public QDialog
{
    Q_OBJECT

public:
    CColumnMessageDlg(const QString& strText, const QString& strTitle, EMessageKind eKind,
                      QWidget* pParent = nullptr);

    // Whether a message reads as columns: at least two of its lines hold a tab.
    static bool HasColumns(const QString& strText);

    // The labels of the two columns, one pair per line with a tab, in line order.
    const QList<QLabel*>& Names() const { return m_Names; }
    const QList<QLabel*>& Values() const { return m_Values; }

private:
    QList<QLabel*> m_Names;
    QList<QLabel*> m_Values;
};
