#include "MportIoctl.h"

#include <cstring>

namespace mport
{
namespace
{
uint64_t UserPointer(const void* pv)
{
    return static_cast<uint64_t>(reinterpret_cast<uintptr_t>(pv));
}
} // namespace

rio_mport_maint_io MaintIo(uint16_t wDestID, uint8_t uchHopCount, uint32_t ulOffset, uint32_t ulByteCount,
                           const void* pvBuffer)
{
    rio_mport_maint_io io;
    std::memset(&io, 0, sizeof(io)); // the padding goes to the kernel too
    io.rioid = wDestID;
    io.hopcount = uchHopCount;
    io.offset = ulOffset;
    io.length = ulByteCount;
    io.buffer = UserPointer(pvBuffer);
    return io;
}

int ExchangeOfFlags(uint32_t ulFlags)
{
    switch (ulFlags & 0xC0u)
    {
    case 0x80u:
        return RIO_EXCHANGE_SWRITE;
    case 0x40u:
        return RIO_EXCHANGE_NWRITE;
    case 0xC0u:
        // Every packet of the write asks for its response, as one NWRITE_R of the front end does.
        return RIO_EXCHANGE_NWRITE_R_ALL;
    default:
        return -1;
    }
}

rio_transfer_io Transfer(uint16_t wDestID, uint64_t ullRioAddress, const void* pvBuffer, uint32_t ulByteCount,
                         uint16_t uMethod)
{
    rio_transfer_io transfer;
    std::memset(&transfer, 0, sizeof(transfer));
    transfer.rio_addr = ullRioAddress;
    // A user buffer: the address goes in loc_addr and no DMA handle is given.
    transfer.loc_addr = UserPointer(pvBuffer);
    transfer.handle = 0;
    transfer.offset = 0;
    transfer.length = ulByteCount;
    transfer.rioid = wDestID;
    transfer.method = uMethod;
    return transfer;
}

rio_transaction Transaction(const rio_transfer_io* pTransfer, uint16_t uDirection)
{
    rio_transaction transaction;
    std::memset(&transaction, 0, sizeof(transaction));
    transaction.block = UserPointer(pTransfer);
    transaction.count = 1;
    transaction.transfer_mode = RIO_TRANSFER_MODE_TRANSFER;
    transaction.sync = RIO_TRANSFER_SYNC;
    transaction.dir = uDirection;
    return transaction;
}

uint32_t PackDestIDs(uint32_t ulBaseDeviceIdCsr)
{
    const uint32_t ulSmall = (ulBaseDeviceIdCsr >> 16) & 0xFFu;
    const uint32_t ulLarge = ulBaseDeviceIdCsr & 0xFFFFu;
    return (ulSmall << 16) | ulLarge;
}
} // namespace mport
