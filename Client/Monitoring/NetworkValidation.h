// System health monitoring: checks the network on the map against the hardware. For each PE it
// asks whether the PE still answers with the identity the map gives it, and whether its ports
// are trained and free of errors; the answers go into the PE's validation state, its ports'
// health records and the status of the connections on its ports, and from there into the map's
// colours. It runs as a background monitor, a tick a second that spends at most 100 ms and picks
// up where the last one stopped, or as one pass over the whole network behind the working window.
//
// The class is free of widgets: in the window a QTimer calls Tick() once a second; the command
// line and tests call Tick() themselves.
#pragma once

#include "PrimitiveList.h"

#include <QString>
#include <QTimer>

#include <cstdint>
#include <functional>
#include <unordered_map>

// What the monitor tells the map window as it goes.
class INetworkValidationView
{
public:
    virtual ~INetworkValidationView() = default;
    // A PE's validation state changed: its node is drawn anew.
    virtual void RefreshPE(const CPEPrimitive& pe) = 0;
    // A connection's status changed: its edge is drawn anew.
    virtual void RefreshConnection(const CConnectionPrimitive& connection) = 0;
    // The end of a tick or of a run: whatever is pending is painted.
    virtual void Repaint() = 0;
    // The status bar's text while the background monitor works ("Validating Node ID %d").
    virtual void ShowStatusText(const QString& strText) = 0;
};

// The state byte a check leaves for each port in PEValidationState::PortState.
enum EPortHealthState : uint8_t
{
    ePortHealthUnchecked = 0,
    ePortHealthUp = 1,    // trained, no errors
    ePortHealthDown = 2,  // not trained
    ePortHealthError = 3, // trained, with errors
};

// The error conditions of a port, the bits of its LP-Serial Port n Error and Status CSR
// (RapidIO Part 6) that the HAL's port error query counts, in words: "Input Error-stopped,
// Output Error-encountered" and so on. Empty when none of them is set.
QString PortErrorText(uint32_t ulErrorBits);

class CNetworkValidation
{
public:
    // The period of the background monitor and the budget of one of its ticks.
    static constexpr int kPeriodMs = 1000;
    static constexpr int64_t kTickBudgetMs = 100;

    CNetworkValidation();
    ~CNetworkValidation();
    CNetworkValidation(const CNetworkValidation&) = delete;
    CNetworkValidation& operator=(const CNetworkValidation&) = delete;

    // Takes the lists to work on and the view to tell (may be null), resets the state of every
    // PE and puts the cursor on the first PE. With fewer than 2 PEs nothing is kept, and the
    // monitor has no work.
    void Init(INetworkValidationView* pView, CPEList* pPEs, CConnectionList* pConnections);
    // Stops a running monitor, goes back to the first PE and sets the timer.
    void Start();
    // Whether the timer is set.
    bool IsRunning() const { return m_bTimerSet; }
    // Kills the timer. The states found stay on the PEs.
    void Stop();
    // One tick of the background monitor: validates PEs from the cursor on until every PE was
    // done once or the budget is spent, then sets the timer again. A failure (no route, a
    // communication error other than no response) is shown and ends the monitor. Returns false
    // when the monitor ended.
    bool Tick();
    // Validates every PE in list order behind the working window, stopping the background
    // monitor meanwhile. The first failure ends the run; with bReport it is shown. False then,
    // or when the person cancelled.
    bool ValidateNetwork(bool bReport);
    // Sets every PE to status 0, clears their port records and repaints.
    void ResetStatus();

    // Validates one PE. bOneShot chooses where progress goes: the working window, or the status
    // bar. False with the failure's text when the check could not be made.
    bool ValidatePE(CPEPrimitive& pe, bool bOneShot, QString* pstrFailure);

    // The text of the last failure (empty when there was none).
    const QString& LastFailure() const { return m_strLastFailure; }
    // Position of the PE the next tick starts with, and how many PEs the last tick validated.
    int CurrentIndex() const { return m_iCurrentIndex; }
    int PEsInLastTick() const { return m_nLastTickPEs; }
    bool HasWork() const { return m_pPEs != nullptr; }

    // The clock of the tick budget, in milliseconds; tests put their own here.
    using MillisecondClock = std::function<int64_t()>;
    void SetClock(MillisecondClock clock) { m_clock = std::move(clock); }

    // Called when the monitor starts or ends by itself (a failure), so a window can show it.
    std::function<void(bool bRunning)> onRunningChanged;

private:
    void SetTimer();
    void KillTimer();
    // The PE the map reaches the network at: the one whose host link is open, else the first
    // with a host link.
    const CPEPrimitive* HostPE() const;
    // The first live connection with this PE and port at its first end, else at its second.
    CConnectionPrimitive* ConnectionAt(int iNode, int iPort) const;
    // The port checks of a PE that answered; false with the failure's text.
    bool CheckPorts(CPEPrimitive& pe, uint32_t ulDestID, uint8_t uchHop, QString* pstrFailure);
    void SetConnectionStatus(CConnectionPrimitive& connection, const QString& strStatus);
    // The destination ID and hop count that reach a PE, from the cache while the map routes as it
    // did when they were found; false when the map has no route to it.
    bool RouteTo(const CPEPrimitive& pe, uint32_t* pulDestID, uint8_t* puchHop);
    // Empties the route cache when the map changed in anything the route search reads: the PEs
    // and their IDs, the connections, the host, the routing tables.
    void CheckRouteCache();
    uint64_t RoutingFingerprint() const;
    void SetPEStatus(CPEPrimitive& pe, int eStatus, uint16_t uFoundDevice, uint16_t uFoundVendor);

    INetworkValidationView* m_pView = nullptr;
    CPEList* m_pPEs = nullptr;
    CConnectionList* m_pConnections = nullptr;
    const CPEPrimitive* m_pCurrentPE = nullptr;
    int m_iCurrentIndex = 0;
    int m_nLastTickPEs = 0;
    bool m_bTimerSet = false;
    QTimer m_timer;
    MillisecondClock m_clock;
    QString m_strLastFailure;

    // The way to each PE found so far. Finding it traces the map's tables, for a PE without an ID
    // of its own with every other PE's IDs, and is most of what a sweep costs; the answer stays
    // good until the map changes. A tick or a run checks the map once (m_bRoutesChecked).
    struct SRouteToPE
    {
        uint32_t ulDestID = 0;
        uint8_t uchHop = 0;
    };
    std::unordered_map<const CPEPrimitive*, SRouteToPE> m_routeCache;
    uint64_t m_ullRoutingFingerprint = 0;
    bool m_bRoutesChecked = false;
};
