// The routing table view: one of a switch's tables as lines, the default port first when the
// switch has one. A table that differs from the switch's is highlighted.
#pragma once

#include "NetworkDocument.h"

#include <QDialog>

class QListWidget;
class QPushButton;

class CRoutingTableDlg : public QDialog
{
    Q_OBJECT

public:
    // iTable: the table's slot in the PE's tables (0 on a switch without per-port tables).
    CRoutingTableDlg(const CPEPrimitive& pe, int iTable, QWidget* pParent = nullptr);

    QListWidget* List() const { return m_pList; }
    QPushButton* Button() const { return m_pButton; }
    // The width of the list's columns: wider for binary IDs.
    int ColumnWidth() const { return m_iColumnWidth; }

private:
    QListWidget* m_pList = nullptr;
    QPushButton* m_pButton = nullptr;
    int m_iColumnWidth = 0;
};

// Shows one table of a switch until the person closes the view.
void ShowRoutingTable(QWidget* pParent, const CPEPrimitive& pe, int iTable);
