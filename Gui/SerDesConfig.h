#pragma once
// The SerDes configuration window of an IDT Gen2 switch: a port choice and the lane grid of that
// port (drive, equaliser taps, loop-back, error counting), with the DFE Scan, Monitor and Adjust
// buttons of each lane. The CPS-1848 group (884, 885, 887) and the CPS-1616 group (888, 889) have
// a window and a grid each; they differ only in the devices they take and in the table of ports
// and lanes, which the row model reads by device ID. One window per switch node.

#include "DfeSearch.h"
#include "GridCtrl.h"
#include "SerDesGrid.h"

#include <QWidget>

#include <functional>
#include <memory>

class CMainFrameCore;
class CNetworkDocument;
class QComboBox;
class QLabel;
class QPushButton;
class QTimer;

// The lane grid: two heading rows ("Transmitter" over Strength, Pre and Post; "Receiver" over
// DFE ON/OFF and the taps), pick lists for the port speed and DFE ON/OFF, button columns with
// their tool tips, check boxes for 10b loop-back and error counting, read-only counts.
class CSerDesConfigGrid : public CGridCtrl
{
    Q_OBJECT
public:
    // Whether the grid serves a device ID.
    virtual bool ServesDevice(uint16_t wDeviceID) const = 0;
    // Lays the grid out from the model's rows.
    void Show(const CSerDesGrid& model);

protected:
    explicit CSerDesConfigGrid(QWidget* pParent);
};

class CPS1848_SerDesConfigGrid final : public CSerDesConfigGrid
{
    Q_OBJECT
public:
    explicit CPS1848_SerDesConfigGrid(QWidget* pParent = nullptr) : CSerDesConfigGrid(pParent) {}
    bool ServesDevice(uint16_t wDeviceID) const override;
};

class CPS1616_SerDesConfigGrid final : public CSerDesConfigGrid
{
    Q_OBJECT
public:
    explicit CPS1616_SerDesConfigGrid(QWidget* pParent = nullptr) : CSerDesConfigGrid(pParent) {}
    bool ServesDevice(uint16_t wDeviceID) const override;
};

class CSerDesConfigWnd : public QWidget
{
    Q_OBJECT
public:
    ~CSerDesConfigWnd() override;

    int Node() const { return m_access.Node(); }
    CSerDesGrid& Model() { return m_model; }
    CSerDesConfigGrid* Grid() const { return m_pGrid; }
    QComboBox* PortBox() const { return m_pPort; }
    QTimer* CountTimer() const { return m_pTimer; }
    QPushButton* RefreshButton() const { return m_pRefresh; }

    // The line's sample period in seconds for a lane; by default one second of reads of its
    // sample register.
    std::function<double(uint32_t ulLane)> fnMeasureSamplePeriod;

    // What a row's DFE button does: measure the sample period, ask the parameters, run the
    // procedure under the working window, read the row again. False when it did not run.
    bool RunDfe(EDfeProcedure eProcedure, int iRow);
    // Reads every row and shows them.
    void Refresh();
    // One tick of the error count timer.
    void Tick();

protected:
    CSerDesConfigWnd(const CNetworkDocument& document, int iNode, CSerDesConfigGrid* pGrid, QWidget* pParent);

private:
    friend CSerDesConfigWnd* OpenSerDesConfig(CNetworkDocument&, int, QWidget*);
    // Reads the switch's quad configuration and shows its first port; false (with the message
    // shown) when the switch can't be reached.
    bool Start(uint16_t wDeviceID, const QString& strDevice);
    void ShowPort(int iIndex);
    void ShowRows();
    void OnEdited(int iRow, int iColumn, const QString& strText);
    void OnOption(int iRow, int iColumn, int iIndex);
    void OnButton(int iRow, int iColumn);
    void OnCheck(int iRow, int iColumn, bool bChecked);

    CTargetSerDesGridAccess m_access;
    CSerDesGrid m_model;
    CSerDesConfigGrid* m_pGrid = nullptr;
    QComboBox* m_pPort = nullptr;
    QLabel* m_pLanes = nullptr;
    QPushButton* m_pRefresh = nullptr;
    QTimer* m_pTimer = nullptr;
};

class CCPS1848_SerDesConfig final : public CSerDesConfigWnd
{
    Q_OBJECT
public:
    CCPS1848_SerDesConfig(const CNetworkDocument& document, int iNode, QWidget* pParent = nullptr);
};

class CCPS1616_SerDesConfig final : public CSerDesConfigWnd
{
    Q_OBJECT
public:
    CCPS1616_SerDesConfig(const CNetworkDocument& document, int iNode, QWidget* pParent = nullptr);
};

// The window of node iNode, opened or raised. Null when the PE is none of the five Gen2 switches,
// or when the switch can't be reached (the message has been shown).
CSerDesConfigWnd* OpenSerDesConfig(CNetworkDocument& document, int iNode, QWidget* pParent = nullptr);
// The open window of a node, or null.
CSerDesConfigWnd* FindSerDesConfig(int iNode);

// The PE pop-up's "SerDes Configuration..." on a Gen2 switch.
void InstallSerDesConfigCommands(CMainFrameCore& frame, QWidget* pParent);
