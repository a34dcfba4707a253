// "Unsupported JTAG Devices": the parts on a scan chain that the pod library does not know, each
// with a name, its JTAG ID (IDCODE) and the length of its instruction register. The pod library
// needs both numbers to walk a chain through such a part. The list is the one the JTAG link keeps
// in the section JtagDeviceList; every Add, Update and Delete is stored at once, so closing the
// window loses nothing.
#pragma once

#include "JtagLink.h"

#include <QDialog>
#include <vector>

class QLineEdit;
class QPushButton;
class QTreeWidget;

class CJTAGDefineDevicesDlg : public QDialog
{
    Q_OBJECT

public:
    explicit CJTAGDefineDevicesDlg(QWidget* pParent = nullptr);

    // The three actions of the buttons. Each checks the fields, stores the list and shows it
    // again; false (having said why, or beeped) when nothing changed.
    bool Add();
    bool Update();
    bool Delete();

    const std::vector<SJtagUserDevice>& Devices() const { return m_devices; }
    QTreeWidget* List() const { return m_pList; }
    QLineEdit* NameEdit() const { return m_pName; }
    QLineEdit* JtagIDEdit() const { return m_pJtagID; }
    QLineEdit* IRLengthEdit() const { return m_pIRLength; }
    QPushButton* AddButton() const { return m_pAdd; }
    QPushButton* UpdateButton() const { return m_pUpdate; }
    QPushButton* DeleteButton() const { return m_pDelete; }

private:
    // The fields as a device; false (with the message) when one of them is not valid.
    bool FieldsToDevice(SJtagUserDevice* pDevice) const;
    // Stores the list; on a failure the list goes back to what is stored.
    bool Store(std::vector<SJtagUserDevice> devices, int iSelect);
    void Fill(int iSelect);
    void ShowSelected();
    void EnableButtons();

    std::vector<SJtagUserDevice> m_devices;
    QTreeWidget* m_pList = nullptr;
    QLineEdit* m_pName = nullptr;
    QLineEdit* m_pJtagID = nullptr;
    QLineEdit* m_pIRLength = nullptr;
    QPushButton* m_pAdd = nullptr;
    QPushButton* m_pUpdate = nullptr;
    QPushButton* m_pDelete = nullptr;
};
