// The arguments of the Linux RapidIO mport character device's ioctls (<linux/rio_mport_cdev.h>),
// built in one place so that their layout can be checked against the kernel's header.
//
// What the driver does with them (drivers/rapidio/devices/rio_mport_cdev.c): a maintenance
// request moves `length` bytes, a multiple of 4 at a word-aligned offset, between the buffer and
// the device's registers, one 32-bit word in host order at a time; the local forms reach the
// bridge's own register space, the remote forms go into the fabric to `rioid` at `hopcount`
// hops with the mport's common transport size. A data transfer is one `rio_transfer_io` inside
// a `rio_transaction`, carried synchronously from the caller's buffer.
#pragma once

#include <cstdint>
#include <linux/rio_mport_cdev.h>

namespace mport
{
// A maintenance read or write of ulByteCount bytes of registers at ulOffset, to or from pvBuffer.
rio_mport_maint_io MaintIo(uint16_t wDestID, uint8_t uchHopCount, uint32_t ulOffset, uint32_t ulByteCount,
                           const void* pvBuffer);

// The exchange method of a write, from the type bits of the front end's flags word (128 SWRITE,
// 64 NWRITE, 192 NWRITE_R); -1 for a flags word that names none of them.
int ExchangeOfFlags(uint32_t ulFlags);

// The transfer of ulByteCount bytes between pvBuffer and the RapidIO address ullRioAddress at
// wDestID. uMethod is one of enum rio_exchange (RIO_EXCHANGE_DEFAULT for a read).
rio_transfer_io Transfer(uint16_t wDestID, uint64_t ullRioAddress, const void* pvBuffer, uint32_t ulByteCount,
                         uint16_t uMethod);

// One synchronous transfer in the given direction (enum rio_transfer_dir).
rio_transaction Transaction(const rio_transfer_io* pTransfer, uint16_t uDirection);

// The IDs in the Base Device ID CSR (0x60, RapidIO Part 3, common transport registers: bits 23..16 the 8-bit
// ID, bits 15..0 the 16-bit ID) packed as the front end expects them: the 8-bit ID in the high half, the
// 16-bit ID in the low half.
uint32_t PackDestIDs(uint32_t ulBaseDeviceIdCsr);
} // namespace mport
