// The packet capture set-up of the probe: the operating mode, the traffic to see (data source and
// target IDs), the system switch and its ports, Block Response Packets, and Enable and Disable.
// The settings go into the application's CProbe, which does the work and shows the messages; the
// fields are locked while the probe is enabled. Also the Settings > Probe commands.
#pragma once

#include <QDialog>

#include <array>

class CMainFrameCore;
class CProbe;
class QCheckBox;
class QLabel;
class QLineEdit;
class QPushButton;
class QRadioButton;

class CProbeSetupDlg : public QDialog
{
    Q_OBJECT

public:
    enum EField
    {
        eSourceID,
        eTargetID,
        eSystemNode,
        eIngressPort,
        ePortToProbe,
        eEgressPort,
        eFieldCount,
    };

    explicit CProbeSetupDlg(CProbe& probe, QWidget* pParent = nullptr);

    QRadioButton* Mode(int iMode) const { return m_apModes[static_cast<size_t>(iMode - 1)]; }
    QLineEdit* Field(EField eField) const { return m_apFields[static_cast<size_t>(eField)]; }
    QCheckBox* BlockResponses() const { return m_pBlock; }
    QPushButton* EnableButton() const { return m_pEnable; }
    QPushButton* DisableButton() const { return m_pDisable; }
    QLabel* StateLabel() const { return m_pState; }

    // The Enable button: the fields into the probe's settings (a field that is no number shows its
    // field's "Invalid ..." text), then the probe's Enable. Returns its result.
    int32_t EnableProbe();
    int32_t DisableProbe();

private:
    void ShowSettings();
    void ShowState();
    bool TakeFields();

    CProbe& m_probe;
    std::array<QRadioButton*, 3> m_apModes{};
    std::array<QLineEdit*, eFieldCount> m_apFields{};
    std::array<QLabel*, eFieldCount> m_apLabels{};
    QCheckBox* m_pBlock = nullptr;
    QPushButton* m_pEnable = nullptr;
    QPushButton* m_pDisable = nullptr;
    QLabel* m_pState = nullptr;
};

// Settings > Probe > Packet Capture Configuration and Port Configuration.
void InstallProbeCommands(CMainFrameCore& frame, QWidget* pParent);
