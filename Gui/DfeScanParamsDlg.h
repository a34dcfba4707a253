#pragma once
// The parameter dialog of the DFE Scan ("DFE Scan Algorithm"): the bit error rate to measure each
// setting against, the range, step and error limit of each tap, "Clear Taps at Start", and the two
// ways to go, each with the estimate of how long it takes. It fills the scan's parameter block;
// the window runs the scan once the dialog is accepted.

#include "DfeParams.h"

#include <QDialog>
#include <QWidget>

class QCheckBox;
class QComboBox;
class QLabel;
class QLineEdit;
class QPushButton;

// The bit error rate row the three dialogs share: "1 in" N "x 10" E "bits.", N from 1 to 9 and E
// from ulMinExp to ulMaxExp.
class CDfeBerEdit : public QWidget
{
    Q_OBJECT
public:
    CDfeBerEdit(uint32_t ulMinExp, uint32_t ulMaxExp, const SDfeBer& ber, QWidget* pParent = nullptr);
    SDfeBer Ber() const;
    QComboBox* IntBox() const { return m_pInt; }
    QComboBox* ExpBox() const { return m_pExp; }

signals:
    void Changed();

private:
    QComboBox* m_pInt = nullptr;
    QComboBox* m_pExp = nullptr;
    uint32_t m_ulMinExp;
};

// The sample count of a bit error rate at the port's speed and the line's sample period: what each
// dialog puts in its block's ulSamples.
struct SDfeLine
{
    uint32_t ulSpeedMHz = 0; // 0: unknown, counted as 1250
    double dSampleSeconds = 0;
};

class CIDT_DFE_ScanParamsDlg : public QDialog
{
    Q_OBJECT
public:
    // The dialog with the last input (the preferences) in its fields.
    CIDT_DFE_ScanParamsDlg(const SDfeLine& line, QWidget* pParent = nullptr);

    // The block, filled when the dialog was accepted by one of its Go buttons.
    const SDfeScanParams& Params() const { return m_params; }

    // The fields as they are now.
    SDfeScanEntry Entry() const;
    // Checks the fields and, when they are good, remembers them, fills the block with the mode
    // and the sample count and accepts; otherwise shows why and stays open.
    bool Go(uint32_t ulMode);

    CDfeBerEdit* BerEdit() const { return m_pBer; }
    QLineEdit* FromEdit(int iTap) const { return m_apFrom[iTap]; }
    QLineEdit* ToEdit(int iTap) const { return m_apTo[iTap]; }
    QLineEdit* ByEdit(int iTap) const { return m_apBy[iTap]; }
    QLineEdit* MaxErrsEdit(int iTap) const { return m_apMaxErrs[iTap]; }
    QCheckBox* ClearTapsBox() const { return m_pClearTaps; }
    QPushButton* RatioButton() const { return m_pRatio; }
    QPushButton* OneAtATimeButton() const { return m_pOneAtATime; }
    QLabel* RatioTimeLabel() const { return m_pRatioTime; }
    QLabel* OneAtATimeTimeLabel() const { return m_pOneTime; }

private:
    void UpdateEstimates();

    SDfeLine m_line;
    SDfeScanParams m_params;
    CDfeBerEdit* m_pBer = nullptr;
    QLineEdit* m_apFrom[5] = {};
    QLineEdit* m_apTo[5] = {};
    QLineEdit* m_apBy[5] = {};
    QLineEdit* m_apMaxErrs[5] = {};
    QCheckBox* m_pClearTaps = nullptr;
    QPushButton* m_pRatio = nullptr;
    QPushButton* m_pOneAtATime = nullptr;
    QLabel* m_pRatioTime = nullptr;
    QLabel* m_pOneTime = nullptr;
};
