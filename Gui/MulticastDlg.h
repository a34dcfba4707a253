// The multicast configuration window of a switch: the ports with a link, ticked for the mask
// shown; the masks of the device; the destination IDs of the mask with a field to add one; and a
// menu of the number format of the IDs. The logic lives in CMulticastEditor; this window only
// shows it and passes the person's actions on.
#pragma once

#include "Multicast.h"

#include <QDialog>

class QComboBox;
class QLineEdit;
class QListWidget;
class QPushButton;
class QTreeWidget;

class CMulticastDlg : public QDialog
{
    Q_OBJECT

public:
    explicit CMulticastDlg(CMulticastEditor& editor, QWidget* pParent = nullptr);

    CMulticastEditor& Editor() { return m_editor; }
    // The ports list: the port number in column 0 (with its tick), the link's state in column 1;
    // each row keeps its port number as item data, since ports without a link have no row.
    QTreeWidget* Ports() const { return m_pPorts; }
    QComboBox* Masks() const { return m_pMasks; }
    QListWidget* IDs() const { return m_pIDs; }
    QLineEdit* IDField() const { return m_pID; }
    QPushButton* Button(const QString& strText) const;
    // The port number that a row of the ports list stands for.
    static int RowPort(const QTreeWidget* pPorts, int iRow);

    // OK: the editor takes the edit (and may offer to update the switch), then the window closes.
    void accept() override;

private:
    void ShowMask();
    void ShowIDs();
    void AddID();
    void SetNumberBase(int nBase);

    CMulticastEditor& m_editor;
    QTreeWidget* m_pPorts = nullptr;
    QComboBox* m_pMasks = nullptr;
    QListWidget* m_pIDs = nullptr;
    QLineEdit* m_pID = nullptr;
};

// Shows the multicast configuration window until the person closes it; true on OK.
bool RunMulticastDlg(QWidget* pParent, CMulticastEditor& editor);
