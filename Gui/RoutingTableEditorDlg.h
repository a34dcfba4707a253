// The routing table editor's window: the switch's tables, the entries of the one chosen (ID, type
// and port), two fields to add an entry, and the transfers of the chosen table. The logic lives in
// CRoutingTableEditor; this window only shows it and passes the person's actions on.
#pragma once

#include "RoutingTableEditor.h"

#include <QDialog>

class QLineEdit;
class QListWidget;
class QPushButton;
class QTreeWidget;

class CRoutingTableEditorDlg : public QDialog
{
    Q_OBJECT

public:
    CRoutingTableEditorDlg(CNetworkDocument& map, CPEPrimitive& pe, bool bConnected,
                           QWidget* pParent = nullptr);

    CRoutingTableEditor& Editor() { return m_editor; }
    QListWidget* Tables() const { return m_pTables; }
    QTreeWidget* Entries() const { return m_pEntries; }
    QLineEdit* IDField() const { return m_pID; }
    QLineEdit* PortField() const { return m_pPort; }
    QPushButton* Button(const QString& strText) const;

    // Closing goes through the editor, which may ask about modified tables and keep the window.
    void reject() override;

private:
    void ShowTable();
    void ShowFields();
    void FitColumns();
    void SetNumberBase(int nBase);

    CRoutingTableEditor m_editor;
    QListWidget* m_pTables = nullptr;
    QTreeWidget* m_pEntries = nullptr;
    QLineEdit* m_pID = nullptr;
    QLineEdit* m_pPort = nullptr;
};

// Edits the routing tables of a switch of the map until the person closes the editor. True when
// the map changed.
bool EditRoutingTables(QWidget* pParent, CNetworkDocument& map, CPEPrimitive& pe, bool bConnected);
