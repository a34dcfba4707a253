// The port set-up of the probe's own switch: for each of its ports 0, 4 and 6 the link status,
// the baud rate and the Invert RX/TX Data and Reverse RX/TX Lanes checks. Every change is written
// to the switch at once (CProbePorts) and the port is read again, so the window always shows what
// the switch holds.
#pragma once

#include "ProbePorts.h"

#include <QDialog>

#include <array>

class QCheckBox;
class QComboBox;
class QLabel;

class CProbePortConfigDlg : public QDialog
{
    Q_OBJECT

public:
    // ports must have reached the switch; the window reads every port when it opens.
    CProbePortConfigDlg(CProbePorts& ports, QWidget* pParent = nullptr);

    // The controls of the port at index i of CProbePorts::kPorts.
    QLabel* Status(int i) const { return m_rows[static_cast<size_t>(i)].pStatus; }
    QComboBox* Speed(int i) const { return m_rows[static_cast<size_t>(i)].pSpeed; }
    QCheckBox* Check(int i, CProbePorts::EControl eControl) const
    {
        return m_rows[static_cast<size_t>(i)].apChecks[static_cast<size_t>(eControl)];
    }

private:
    struct SRow
    {
        QLabel* pStatus = nullptr;
        QComboBox* pSpeed = nullptr;
        std::array<QCheckBox*, 4> apChecks{};
    };
    void Show(int i, const SProbePortState& state);
    void Written(int i, int32_t nStatus, const SProbePortState& state);

    CProbePorts& m_ports;
    std::array<SRow, 3> m_rows;
    bool m_bShowing = false;
};
