// A simulated Tsi721 behind the Linux RapidIO mport character device: a shared object that takes
// the place of open, ioctl and close on /dev/rio_mportN, and of the PCI function's config file,
// over a simulated fabric whose host device is a Tsi721.
//
// Exports (the client's mport layer loads them when NORVANTA_MPORT_LIBRARY names this library):
//   int  nv_mport_open(uint32_t ulIndex, int* pnHandle);
//   int  nv_mport_ioctl(int nHandle, unsigned long ulRequest, void* pvArg);
//   int  nv_mport_pci_config_read(int nHandle, uint32_t ulOffset, uint32_t* pulValue);
//   void nv_mport_close(int nHandle);
// Each returns 0 or a negative errno, as the kernel's calls give it in errno.
//
// Environment:
//   NVSIM_MPORT_TOPOLOGY      topology file of the fabric (required); its host must be a Tsi721
//   NVSIM_MPORT_LARGE         1: the mport's common transport size is 16-bit IDs (default 8-bit);
//                             read when the first handle opens
//   NVSIM_MPORT_UNPLUG_AFTER  N: the bridge goes away after N ioctls; every call after that
//                             fails with ENODEV, as on a card that was removed
//
// What the ioctls do is taken from the kernel's driver (drivers/rapidio/devices/rio_mport_cdev.c)
// and its header <linux/rio_mport_cdev.h>, which this file decodes on its own:
//  - MAINT_READ/WRITE_LOCAL and _REMOTE: length a nonzero multiple of 4, offset word-aligned,
//    offset + length within the 16 MiB maintenance space, else EINVAL; one 32-bit word in host
//    order per 4 bytes of the buffer. Local requests reach the bridge's own registers; remote ones
//    go to rioid at hopcount hops. A request the fabric loses fails with EIO (the Tsi721 driver's
//    answer to a maintenance error).
//  - MAINT_HDID_SET: the mport's host ID, written to the Base Device ID CSR in the transport
//    size of the mport (RapidIO Part 3, Base Device ID CSR).
//  - GET_PROPERTIES: host ID, index, transport size, port state.
//  - TRANSFER: synchronous transfers of a user buffer (transfer mode TRANSFER, no DMA handle);
//    other forms fail with EINVAL. Reads are NREADs; writes by the exchange method: SWRITE,
//    NWRITE (default), NWRITE_R for the _R methods.
// Assumptions: one bridge (index 0); the PCI configuration header is the Tsi721's vendor 0x111D,
// device 0x80AB, class 0x068000 (other bridge), with BAR0 at 0x10; the rest reads 0. Sources: the
// PCI Local Bus Specification 3.0, 6.1 (header layout); the kernel's pci_ids.h for the IDs.
#include "nvsim/Fabric.h"
#include "nvsim/Status.h"
#include "nvsim/Topology.h"

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <linux/rio_mport_cdev.h>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <sys/ioctl.h>

namespace
{
constexpr uint32_t kMaintSpace = 0x1000000;       // RIO_MAINT_SPACE_SZ of the kernel
constexpr uint32_t kTsi721Identity = 0x80AB0038u; // Device Identity CAR of a Tsi721
constexpr uint32_t kHostDest = 0xFFFFFFFFu;       // the fabric's name for the host device
constexpr uint32_t kBaseDeviceIdCsr = 0x60;

struct SState
{
    std::mutex mutex;
    std::unique_ptr<nvsim::CSimFabric> pFabric;
    std::map<int, bool> handles;
    std::string strTopology; // the file the fabric came from
    int nNextHandle = 1;
    bool bLarge = false;
    long lUnplugAfter = -1; // ioctls left before the bridge goes; -1: never
    bool bGone = false;
};

SState& State()
{
    static SState state;
    return state;
}

int Errno(int32_t nStatus)
{
    return nStatus == nvsim::kStatusOk ? 0 : nStatus == nvsim::kStatusInvalidParameter ? -EINVAL : -EIO;
}

void* UserBuffer(uint64_t ullAddress)
{
    return reinterpret_cast<void*>(static_cast<uintptr_t>(ullAddress));
}

int MaintIo(SState& state, bool bRemote, bool bWrite, const rio_mport_maint_io& io)
{
    if (io.length == 0 || (io.length & 3) || (io.offset & 3) || io.length > kMaintSpace ||
        io.offset > kMaintSpace - io.length || io.buffer == 0)
    {
        return -EINVAL;
    }
    const uint32_t ulDest = bRemote ? io.rioid : kHostDest;
    const uint8_t uchHop = bRemote ? io.hopcount : 0;
    auto* pulWords = static_cast<uint32_t*>(UserBuffer(io.buffer));
    const uint32_t ulCount = io.length / 4;
    // The driver moves one word per request.
    for (uint32_t i = 0; i < ulCount; ++i)
    {
        const int32_t nStatus = bWrite ? state.pFabric->MaintWrite(0, ulDest, uchHop, io.offset + 4 * i,
                                                                   &pulWords[i], 1, 4, 4, state.bLarge)
                                       : state.pFabric->MaintRead(0, ulDest, uchHop, io.offset + 4 * i,
                                                                  &pulWords[i], 1, 4, 4, state.bLarge);
        if (nStatus != nvsim::kStatusOk)
        {
            return Errno(nStatus);
        }
    }
    return 0;
}

int Transfer(SState& state, const rio_transaction& transaction)
{
    if (transaction.count == 0 || transaction.block == 0 ||
        transaction.transfer_mode != RIO_TRANSFER_MODE_TRANSFER || transaction.sync != RIO_TRANSFER_SYNC ||
        (transaction.dir != RIO_TRANSFER_DIR_READ && transaction.dir != RIO_TRANSFER_DIR_WRITE))
    {
        return -EINVAL;
    }
    auto* pTransfers = static_cast<rio_transfer_io*>(UserBuffer(transaction.block));
    for (uint32_t i = 0; i < transaction.count; ++i)
    {
        rio_transfer_io& transfer = pTransfers[i];
        if (transfer.handle != 0 || transfer.loc_addr == 0 || transfer.length == 0 ||
            transfer.length > 0xFFFFFFFFu)
        {
            return -EINVAL;
        }
        auto* pb = static_cast<uint8_t*>(UserBuffer(transfer.loc_addr)) + transfer.offset;
        const auto ulHi = static_cast<uint32_t>(transfer.rio_addr >> 32);
        const auto ulLo = static_cast<uint32_t>(transfer.rio_addr);
        const auto ulCount = static_cast<uint32_t>(transfer.length);
        int32_t nStatus = nvsim::kStatusOk;
        if (transaction.dir == RIO_TRANSFER_DIR_READ)
        {
            nStatus = state.pFabric->DataRead(0, transfer.rioid, ulHi, ulLo, pb, ulCount, state.bLarge);
        }
        else
        {
            uint32_t ulType = 1;
            switch (transfer.method)
            {
            case RIO_EXCHANGE_DEFAULT:
            case RIO_EXCHANGE_NWRITE:
                ulType = 1;
                break;
            case RIO_EXCHANGE_SWRITE:
                ulType = 0;
                break;
            case RIO_EXCHANGE_NWRITE_R:
            case RIO_EXCHANGE_SWRITE_R:
            case RIO_EXCHANGE_NWRITE_R_ALL:
                ulType = 2;
                break;
            default:
                return -EINVAL;
            }
            nStatus =
                state.pFabric->DataWrite(0, transfer.rioid, ulHi, ulLo, ulType, pb, ulCount, state.bLarge);
        }
        transfer.completion_code = nStatus == nvsim::kStatusOk ? 0 : 1;
        if (nStatus != nvsim::kStatusOk)
        {
            return Errno(nStatus);
        }
    }
    return 0;
}

int Properties(SState& state, rio_mport_properties* pProperties)
{
    std::memset(pProperties, 0, sizeof(*pProperties));
    nvsim::CSimFabric& fabric = *state.pFabric;
    auto lock = fabric.Lock();
    nvsim::CSimDevice& host = fabric.Host();
    pProperties->hdid = static_cast<uint16_t>(host.BaseDeviceId(state.bLarge));
    pProperties->index = 0;
    pProperties->sys_size = state.bLarge ? 1 : 0;
    pProperties->port_ok = fabric.PortTrained(host, 0) ? 1 : 0;
    const nvsim::CSimLink* pLink = fabric.LinkAt(host, 0);
    pProperties->link_width = pLink ? fabric.LinkWidth(*pLink) : 0;
    pProperties->transfer_mode = RIO_TRANSFER_MODE_TRANSFER;
    pProperties->cap_sys_size = 3;
    pProperties->cap_addr_size = 1;
    pProperties->cap_transfer_mode = RIO_TRANSFER_MODE_TRANSFER;
    pProperties->cap_mport = RIO_CAP_DBL_SEND | RIO_CAP_DBL_RECV;
    return 0;
}

int SetHostId(SState& state, uint16_t wHostId)
{
    // RIO_SET_DID of the kernel: the ID in the field of the mport's transport size, the other zero.
    const uint32_t ulCsr = state.bLarge ? wHostId : (static_cast<uint32_t>(wHostId & 0xFF) << 16);
    return Errno(state.pFabric->MaintWrite(0, kHostDest, 0, kBaseDeviceIdCsr, &ulCsr, 1, 4, 4, state.bLarge));
}
} // namespace

extern "C" __attribute__((visibility("default"))) int nv_mport_open(uint32_t ulIndex, int* pnHandle)
{
    SState& state = State();
    std::lock_guard guard(state.mutex);
    // The fabric is loaded at the first open, and again when nothing is open and the
    // environment names another topology.
    const char* pszEnvironment = std::getenv("NVSIM_MPORT_TOPOLOGY");
    const std::string strTopology = pszEnvironment ? pszEnvironment : "";
    if (!state.pFabric || (state.handles.empty() && !strTopology.empty() && strTopology != state.strTopology))
    {
        if (strTopology.empty())
        {
            return -ENODEV;
        }
        state.pFabric.reset();
        state.bGone = false;
        std::string strError;
        std::unique_ptr<nvsim::CSimFabric> pFabric = nvsim::LoadTopologyFile(strTopology, &strError);
        if (!pFabric)
        {
            return -ENODEV;
        }
        uint32_t ulIdentity = 0;
        if (pFabric->MaintRead(0, kHostDest, 0, 0, &ulIdentity, 1, 4, 4, false) != nvsim::kStatusOk ||
            ulIdentity != kTsi721Identity)
        {
            // The host of this fabric is no Tsi721: no mport of this kind is there.
            return -ENODEV;
        }
        const char* pszUnplug = std::getenv("NVSIM_MPORT_UNPLUG_AFTER");
        state.lUnplugAfter = pszUnplug && *pszUnplug ? std::strtol(pszUnplug, nullptr, 10) : -1;
        state.pFabric = std::move(pFabric);
        state.strTopology = strTopology;
    }
    if (state.handles.empty())
    {
        // The transport size is the driver's, fixed while the device is open.
        const char* pszLarge = std::getenv("NVSIM_MPORT_LARGE");
        state.bLarge = pszLarge && std::strcmp(pszLarge, "1") == 0;
    }
    if (ulIndex != 0)
    {
        return -ENOENT;
    }
    if (state.bGone)
    {
        return -ENODEV;
    }
    const int nHandle = state.nNextHandle++;
    state.handles[nHandle] = true;
    *pnHandle = nHandle;
    return 0;
}

extern "C" __attribute__((visibility("default"))) int nv_mport_ioctl(int nHandle, unsigned long ulRequest,
                                                                     void* pvArg)
{
    SState& state = State();
    std::lock_guard guard(state.mutex);
    if (!state.handles.count(nHandle))
    {
        return -EBADF;
    }
    if (state.lUnplugAfter >= 0 && state.lUnplugAfter-- == 0)
    {
        state.bGone = true;
    }
    if (state.bGone)
    {
        return -ENODEV;
    }
    if (!pvArg)
    {
        return -EFAULT;
    }
    switch (ulRequest)
    {
    case RIO_MPORT_MAINT_READ_LOCAL:
        return MaintIo(state, false, false, *static_cast<rio_mport_maint_io*>(pvArg));
    case RIO_MPORT_MAINT_WRITE_LOCAL:
        return MaintIo(state, false, true, *static_cast<rio_mport_maint_io*>(pvArg));
    case RIO_MPORT_MAINT_READ_REMOTE:
        return MaintIo(state, true, false, *static_cast<rio_mport_maint_io*>(pvArg));
    case RIO_MPORT_MAINT_WRITE_REMOTE:
        return MaintIo(state, true, true, *static_cast<rio_mport_maint_io*>(pvArg));
    case RIO_MPORT_MAINT_HDID_SET:
        return SetHostId(state, *static_cast<uint16_t*>(pvArg));
    case RIO_MPORT_GET_PROPERTIES:
        return Properties(state, static_cast<rio_mport_properties*>(pvArg));
    case RIO_TRANSFER:
        return Transfer(state, *static_cast<rio_transaction*>(pvArg));
    default:
        return -ENOTTY;
    }
}

extern "C" __attribute__((visibility("default"))) int nv_mport_pci_config_read(int nHandle, uint32_t ulOffset,
                                                                               uint32_t* pulValue)
{
    SState& state = State();
    std::lock_guard guard(state.mutex);
    if (!state.handles.count(nHandle))
    {
        return -EBADF;
    }
    if (state.bGone)
    {
        return -ENODEV;
    }
    if ((ulOffset & 3) || ulOffset >= 0x1000)
    {
        return -EINVAL;
    }
    switch (ulOffset)
    {
    case 0x00:
        *pulValue = 0x80AB111Du; // device, vendor
        break;
    case 0x08:
        *pulValue = 0x06800000u; // class 06h (bridge), subclass 80h (other), revision 0
        break;
    case 0x10:
        *pulValue = 0xFE000000u; // BAR0: 32-bit memory, not prefetchable
        break;
    default:
        *pulValue = 0;
        break;
    }
    return 0;
}

extern "C" __attribute__((visibility("default"))) void nv_mport_close(int nHandle)
{
    SState& state = State();
    std::lock_guard guard(state.mutex);
    state.handles.erase(nHandle);
}
