// The JTAG link: the pod library loaded at run time (JtagPod.h), the scan of every pod's chain,
// the list of devices the library does not know, and the register path of a device on a chain.
//
// A JTAG connection's address word is the chain entry it opens: (pod << 16) | chain position,
// pod n being "USB<n>". The link stores it in lJTAGDevice.
#pragma once

#include "DirectLinks.h"
#include "JtagPod.h"
#include "TargetLink.h"

#include <QString>
#include <cstdint>
#include <vector>

// A device the pod library does not know: it needs its JTAG ID and IR length to walk the chain.
// Kept in the preference section JtagDeviceList as NumDevices and Device%d, each
// "<JTAG ID in hex> <IR length> <name>".
struct SJtagUserDevice
{
    QString strName;
    uint32_t ulJtagID = 0;
    uint32_t ulIRLength = 0;
    bool operator==(const SJtagUserDevice&) const = default;
};

std::vector<SJtagUserDevice> LoadJtagUserDevices();
// Replaces the stored list; false (the store has said why) when it can't be written.
bool SaveJtagUserDevices(const std::vector<SJtagUserDevice>& devices);
// Index of the device with that JTAG ID, or -1.
int FindJtagUserDevice(const std::vector<SJtagUserDevice>& devices, uint32_t ulJtagID);
// One stored line, and back; false for a line that is not one.
QString JtagUserDeviceText(const SJtagUserDevice& device);
bool ParseJtagUserDevice(const QString& strText, SJtagUserDevice* pDevice);

// A row of the scan: pod, chain position, the RapidIO identity read through the pod, a name.
struct SJtagChainEntry
{
    uint32_t ulPod = 0;
    uint32_t ulPosition = 0;
    uint16_t wDeviceID = 0;
    uint16_t wVendorID = 0;
    QString strName;
};

constexpr uint32_t JtagAddressWord(uint32_t ulPod, uint32_t ulPosition)
{
    return (ulPod << 16) | (ulPosition & 0xFFFFu);
}

// Pods tried by a scan: "USB0" up to the first that is missing, at most this many.
constexpr uint32_t kMaxJtagPods = 16;

// The pod library in use. It is loaded at the first use, from the file named by the environment
// variable NORVANTA_JTAG_LIBRARY, else by the preference JtagLibrary of the section Preferences,
// else "nvt_jtag" on the library path; a change of that name loads the new library at the next use.
class CJtagLibrary
{
public:
    static CJtagLibrary& Instance();

    // Loads the library and, once per library, starts it: fixes the debug log, checks the
    // driver's version (an old one is told, and work goes on), sets the debug level and the
    // callback that writes "JTAG: " lines to the debug log. Shows what went wrong and returns
    // false when the library can't be loaded or lacks an entry point. With bQuietIfAbsent a
    // library that is not there at all is not told: the caller shows its own text for that.
    bool Start(bool bQuietIfAbsent = false);
    // The library's name as configured now.
    static QString ConfiguredName();

    PFN_jtagGetDriverVersion pfnGetDriverVersion = nullptr;
    PFN_jtagSetDebugLevel pfnSetDebugLevel = nullptr;
    PFN_jtagSetDebugCallback pfnSetDebugCallback = nullptr;
    PFN_jtagOpen pfnOpen = nullptr;
    PFN_jtagAddDevice pfnAddDevice = nullptr;
    PFN_jtagDiscover pfnDiscover = nullptr;
    PFN_jtagDeviceSelect pfnDeviceSelect = nullptr;
    PFN_jtagRead pfnRead = nullptr;
    PFN_jtagWrite pfnWrite = nullptr;
    PFN_jtagClose pfnClose = nullptr;

private:
    CJtagLibrary() = default;
    void Forget();

    QString m_strLoaded;
    void* m_pvLibrary = nullptr; // the QLibrary, kept out of this header
};

// Scans every pod's chain (adding the stored user devices to each before the walk). When no row
// comes, *pstrNotFound gets the text the JTAG tab shows instead. Shows no message box of its own
// except the library's start-up ones (a library without an entry point, an old driver).
std::vector<SJtagChainEntry> ScanJtagPods(QString* pstrNotFound);

// The register path of one device on a pod's chain.
class CJtagRegisterPod : public IRegisterPod
{
public:
    CJtagRegisterPod(int32_t lHandle, uint32_t ulPod, uint32_t ulPosition);
    ~CJtagRegisterPod() override;
    bool ReadRegister(uint32_t ulOffset, uint32_t* pulValue) override;
    bool WriteRegister(uint32_t ulOffset, uint32_t ulValue) override;
    void Close() override;
    bool IsOpen() const { return m_lHandle >= 0; }

private:
    int32_t m_lHandle;
    uint32_t m_ulPod;
    uint32_t m_ulPosition;
};

// Opens the pod of a JTAG address word, walks its chain with the user devices added and selects
// the device; on success the link holds the pod (kind JTAG, lJTAGDevice the address word). Shows
// its message and returns false on any failure, leaving the pod closed.
bool OpenJtagLink(CTargetLink& link, uint32_t ulAddressWord);
