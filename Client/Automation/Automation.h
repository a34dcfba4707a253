// The automation object: the program's programmable interface, used by other programs over D-Bus,
// by macros in JavaScript and VBScript, and by the command line's macro runner. It offers
// low-level RapidIO access and little else: each method maps to one transaction of the target
// front end or one wrapper of the HAL.
//
// Callers reach it in one generic way: the method table (names, dispatch IDs in table order,
// argument names and types, result type) and Invoke by dispatch ID. Each front end converts its
// own values to CAutoValue and back; all checks of the arguments, the connection and the error
// bookkeeping are made here, so every front end sees the same texts and codes.
#pragma once

#include "AutoValue.h"

#include <QString>

#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

class CNetworkDocument;
class CProbe;

// One argument of a method: its name as the interface documents it, and its type: a scalar type
// (eVtUI1 BYTE, eVtUI2 USHORT, eVtUI4 ULONG, eVtI4 long, eVtBstr string) or eVtVariant for an
// argument that is a VARIANT (the data arrays of the write methods, the file name of the log).
struct SAutoArg
{
    const char* pszName;
    uint16_t vt;
};

// One method. vtResult is the scalar type of the result, or eVtArray | element type for the methods
// that give an array.
struct SAutoMethod
{
    int iDispID; // 1-based, the method's place in the table
    const char* pszName;
    std::vector<SAutoArg> args;
    uint16_t vtResult;
};

// What the automation object needs of the application around it. The desktop window, the headless
// automation server and the command line each fill it in; an empty function stands for "not
// available here" and the method that needs it fails with a clear text.
struct SAutomationHooks
{
    std::function<bool()> isConnected;           // the application's connected flag
    std::function<CNetworkDocument*()> document; // the map, or null when there is none
    std::function<bool()> mapToClipboard;        // copies the map's picture
    std::function<int32_t(uint32_t ulNode, uint64_t ullAddress, uint32_t ulNumBytes, bool bBigEndian,
                          uint32_t ulWordSize, bool bShowAscii, uint32_t ulNumColumns)>
        memoryViewerOpen; // client status
    std::function<int32_t(uint32_t ulNode)> memoryViewerClose;
    std::function<CProbe*()> probe; // the application's probe set-up
};

class CAutomation
{
public:
    explicit CAutomation(SAutomationHooks hooks);
    ~CAutomation();
    CAutomation(const CAutomation&) = delete;
    CAutomation& operator=(const CAutomation&) = delete;

    // The 74 methods in dispatch order: Methods()[i].iDispID == i + 1.
    static const std::vector<SAutoMethod>& Methods();
    // The method of a name (case ignored, as script languages call them), or null.
    static const SAutoMethod* FindMethod(const QString& strName);

    // Calls a method. args holds one value per argument of the method, in order; scalars are
    // converted to the argument's type (a number out of the type's range is refused), arrays are
    // checked as the write methods check them. On failure returns false with *pError filled; the
    // status is then also the last error (GetLastError). On success *pResult holds the result.
    bool Invoke(int iDispID, const std::vector<CAutoValue>& args, CAutoValue* pResult, SAutoError* pError);
    // The same by name (case ignored); an unknown name fails with status -39.
    bool Invoke(const QString& strMethod, const std::vector<CAutoValue>& args, CAutoValue* pResult,
                SAutoError* pError);

    // The application's hooks; a window fills in what only it can do (the clipboard, the memory
    // viewer) after the object is made.
    SAutomationHooks& Hooks() { return m_hooks; }

    // The client status of the last failure, 0 when none yet (never cleared by a success).
    int32_t LastError() const;

private:
    struct SState;
    SAutomationHooks m_hooks;
    std::unique_ptr<SState> m_pState;
};
