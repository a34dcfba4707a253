// The discovery settings window shown before a standard discovery: locks, clock rates, the
// transport size, enumeration with its IDs, the scan sequence and what follows the discovery. The
// rules between the choices and the check of OK live in CEnumerationSettings; this is its face.
#pragma once

#include "EnumerationSettings.h"

#include <QDialog>

class QCheckBox;
class QLineEdit;
class QRadioButton;

class CEnumerationDlg : public QDialog
{
    Q_OBJECT

public:
    // Edits settings, which come loaded from the preferences.
    CEnumerationDlg(CEnumerationSettings& settings, QWidget* pParent = nullptr);

    QCheckBox* NoLocks() const { return m_pNoLocks; }
    QCheckBox* TryAllClockRates() const { return m_pTryAllClockRates; }
    QCheckBox* Enumerate() const { return m_pEnumerate; }
    QCheckBox* AssignVDIDs() const { return m_pAssignVDIDs; }
    QCheckBox* ScanExistingIDs() const { return m_pScanExisting; }
    QCheckBox* UploadRegisters() const { return m_pUploadRegisters; }
    QCheckBox* UploadRoutingTables() const { return m_pUploadTables; }
    QCheckBox* BuildRoutingTables() const { return m_pBuildTables; }
    QRadioButton* LargeTransport() const { return m_pLarge; }
    QLineEdit* ScanSequence() const { return m_pScanSequence; }
    QLineEdit* HostDestID() const { return m_pHostID; }
    QLineEdit* StartingDestID() const { return m_pStartingID; }
    QLineEdit* DestIDIncrement() const { return m_pIncrement; }

    // Checks the fields; a failure has been shown and its field has the focus.
    void accept() override;

private:
    // Shows the settings' state: checks, enabled controls, the scan sequence.
    void Refresh();

    CEnumerationSettings& m_settings;
    QCheckBox* m_pNoLocks = nullptr;
    QCheckBox* m_pTryAllClockRates = nullptr;
    QCheckBox* m_pEnumerate = nullptr;
    QCheckBox* m_pAssignVDIDs = nullptr;
    QCheckBox* m_pScanExisting = nullptr;
    QCheckBox* m_pUploadRegisters = nullptr;
    QCheckBox* m_pUploadTables = nullptr;
    QCheckBox* m_pBuildTables = nullptr;
    QRadioButton* m_pSmall = nullptr;
    QRadioButton* m_pLarge = nullptr;
    QLineEdit* m_pScanSequence = nullptr;
    QLineEdit* m_pHostID = nullptr;
    QLineEdit* m_pStartingID = nullptr;
    QLineEdit* m_pIncrement = nullptr;
};
