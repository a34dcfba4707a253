// "Traffic Generator - Node %d, DestID %d": starts, stops and paces the traffic generator of a
// PE's server (a host PE) or of a remote generator (any other PE, through its control structure).
// Modeless; one per PE. The logic is CDataGenerator's; this window checks the entries against the
// map, polls the generator once a second and marks source and target on the map while it runs.
#pragma once

#include "DataGen.h"

#include <QDialog>
#include <functional>

class CNetworkDocument;
class CPEPrimitive;
class QButtonGroup;
class QCheckBox;
class QComboBox;
class QGroupBox;
class QLabel;
class QLineEdit;
class QPushButton;
class QRadioButton;
class QSlider;
class QSpinBox;
class QTimer;

class CDataGenDlg : public QDialog
{
    Q_OBJECT

public:
    // fnRedraw redraws the map after the marks change.
    CDataGenDlg(CNetworkDocument& document, int iNode, std::function<void()> fnRedraw,
                CDataGenerator generator = CDataGenerator(), QWidget* pParent = nullptr);
    ~CDataGenDlg() override;

    // The window of a PE: the open one raised, or a new one.
    static CDataGenDlg* OpenFor(CNetworkDocument& document, int iNode, std::function<void()> fnRedraw,
                                QWidget* pParent);

    // The Enable check: on checks the entries and starts; off stops. False when it was refused.
    bool Enable(bool bOn);
    // The Test button: checks the remote generator's control structure.
    bool Test();
    // The slider and box; while running in fixed mode the new rate is sent.
    void SetRate(uint32_t ulRate);
    // Once a second while running.
    void OnTick();
    // Dynamic output mode; an empty profile reverts to Fixed.
    void SetDynamic(bool bDynamic);
    // Opens the profile editor.
    void EditProfile();

    CDataGenerator& Generator() { return m_generator; }
    uint16_t RemoteDestID() const { return m_wRemoteDestID; }
    const CPEPrimitive* TargetPE() const { return m_pTargetPE; }

    QCheckBox* EnableCheck() const { return m_pEnable; }
    QLineEdit* ControlEdit() const { return m_pControl; }
    QLineEdit* DestIDEdit() const { return m_pDestID; }
    QLineEdit* DestAddressEdit() const { return m_pDestAddress; }
    QLineEdit* DestSizeEdit() const { return m_pDestSize; }
    QComboBox* KindCombo() const { return m_pKind; }
    QGroupBox* RateBox() const { return m_pRateBox; }
    QSlider* RateSlider() const { return m_pSlider; }
    QSpinBox* RateSpin() const { return m_pRateSpin; }
    QLabel* LagLabel() const { return m_pLag; }
    QRadioButton* FixedRadio() const { return m_pFixed; }
    QRadioButton* DynamicRadio() const { return m_pDynamic; }
    QCheckBox* RepeatCheck() const { return m_pRepeat; }

protected:
    void closeEvent(QCloseEvent* pEvent) override;

private:
    bool Validate(bool bForTest);
    void SetInputsEnabled(bool bOn);
    void SetMarks(bool bOn);
    void StopTool();
    void KindChanged();

    CNetworkDocument& m_document;
    CPEPrimitive* m_pPE = nullptr;
    CPEPrimitive* m_pTargetPE = nullptr;
    int m_iNode = -1;
    uint16_t m_wRemoteDestID = kLocalDataGen;
    std::function<void()> m_fnRedraw;
    CDataGenerator m_generator;
    bool m_bUpdating = false;

    QLineEdit* m_pControl = nullptr;
    QPushButton* m_pTest = nullptr;
    QLineEdit* m_pDestID = nullptr;
    QLineEdit* m_pDestAddress = nullptr;
    QLineEdit* m_pDestSize = nullptr;
    QComboBox* m_pKind = nullptr;
    QSpinBox* m_pSize = nullptr;
    QComboBox* m_pPriority = nullptr;
    QRadioButton* m_pFixed = nullptr;
    QRadioButton* m_pDynamic = nullptr;
    QPushButton* m_pProfile = nullptr;
    QCheckBox* m_pRepeat = nullptr;
    QGroupBox* m_pRateBox = nullptr;
    QSlider* m_pSlider = nullptr;
    QSpinBox* m_pRateSpin = nullptr;
    QLabel* m_pLag = nullptr;
    QCheckBox* m_pEnable = nullptr;
    QTimer* m_pTimer = nullptr;
};
