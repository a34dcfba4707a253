// The interface of a JTAG pod library: the ten entry points the client requires of it, loaded at
// run time. A pod library is a shared object with C linkage; it drives one or more pods named
// "USB0", "USB1", ... and, on the scan chain behind a pod, reaches the register space of the
// selected RapidIO device by offset. How the chain is shifted is the library's business.
//
// Calling forms. Every entry point returns a status: 0 for success, a negative value otherwise
// (the values below; a library may add its own below -100). Pointers the caller passes belong to
// the caller and are only used during the call, except the debug callback and its context, which
// the library keeps until it is replaced. Handles are small non-negative integers.
//
// Only scalar types cross the boundary, so a library built by any compiler fits.
#pragma once

#include <cstdint>

extern "C"
{

    // Statuses of the entry points.
    enum : int32_t
    {
        kJtagOk = 0,
        kJtagNoPod = -1,         // no pod of that name is plugged in
        kJtagBadHandle = -2,     // the handle is not open
        kJtagNoDevice = -3,      // no device at that chain position, or none selected
        kJtagUnknownChain = -4,  // a device on the chain has no known instruction register length
        kJtagTransferFailed = -5 // the pod stopped answering in the middle of a transfer
    };

    // The lowest version of the pod's USB driver the client works with: 2.08.14, in the driver's
    // packing of one byte each for major, minor and build (0x00MMmmbb).
    constexpr uint32_t kJtagMinDriverVersion = 0x00020814u;

    // A line of the library's own diagnostics, with the context given to jtagSetDebugCallback.
    typedef void (*PFN_JTAG_DEBUG_CALLBACK)(void* pvContext, const char* pszLine);

    // The version of the pod's USB driver, 0x00MMmmbb.
    typedef int32_t (*PFN_jtagGetDriverVersion)(uint32_t* pulVersion);
    // 0 silent; higher levels give more lines to the debug callback.
    typedef int32_t (*PFN_jtagSetDebugLevel)(int32_t lLevel);
    // Null turns the diagnostics off.
    typedef int32_t (*PFN_jtagSetDebugCallback)(PFN_JTAG_DEBUG_CALLBACK pfnCallback, void* pvContext);
    // Opens the pod of that name ("USB%d"); kJtagNoPod when there is none.
    typedef int32_t (*PFN_jtagOpen)(const char* pszPod, int32_t* plHandle);
    // Tells the library of a device it does not know: its name, its 32-bit JTAG ID (IEEE 1149.1
    // IDCODE) and the length of its instruction register. Applies to the next jtagDiscover.
    typedef int32_t (*PFN_jtagAddDevice)(int32_t lHandle, const char* pszName, uint32_t ulJtagID,
                                         uint32_t ulIRLength);
    // Walks the chain; *pulNumDevices is the count of devices on it, known or not.
    typedef int32_t (*PFN_jtagDiscover)(int32_t lHandle, uint32_t* pulNumDevices);
    // Puts the device at ulPosition (0 is the first device after the pod's TDI) in the path of the
    // register accesses, every other device in bypass. kJtagUnknownChain when a device on the chain
    // has an instruction register of unknown length.
    typedef int32_t (*PFN_jtagDeviceSelect)(int32_t lHandle, uint32_t ulPosition);
    // One 32-bit register of the selected device, in host order.
    typedef int32_t (*PFN_jtagRead)(int32_t lHandle, uint32_t ulOffset, uint32_t* pulValue);
    typedef int32_t (*PFN_jtagWrite)(int32_t lHandle, uint32_t ulOffset, uint32_t ulValue);
    typedef int32_t (*PFN_jtagClose)(int32_t lHandle);

} // extern "C"

// The exported names, in the order the client resolves them.
inline constexpr const char* kJtagEntryPoints[] = {"jtagGetDriverVersion",
                                                   "jtagSetDebugLevel",
                                                   "jtagSetDebugCallback",
                                                   "jtagOpen",
                                                   "jtagAddDevice",
                                                   "jtagDiscover",
                                                   "jtagDeviceSelect",
                                                   "jtagRead",
                                                   "jtagWrite",
                                                   "jtagClose"};
