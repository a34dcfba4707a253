// Values that cross the automation boundary. Every caller of the automation object (the D-Bus
// service, the JavaScript engine, the VBScript interpreter, the command line) turns its own values
// into these and back, so the checks on argument types and array sizes live in one place.
//
// The type codes are the OLE variant type numbers that RapidIO tools and their macros have always
// used, so a script that tests a value's type sees the numbers it expects.
#pragma once

#include <QString>

#include <cmath>
#include <cstdint>
#include <vector>

enum EAutoType : uint16_t
{
    eVtEmpty = 0,
    eVtI2 = 2,       // 16-bit signed
    eVtI4 = 3,       // 32-bit signed
    eVtR8 = 5,       // double: dValue, with nValue the value rounded half to even for integer parameters
    eVtBstr = 8,     // string
    eVtBool = 11,    // boolean
    eVtVariant = 12, // an element of a script's own array: any of the scalar types
    eVtI1 = 16,      // 8-bit signed
    eVtUI1 = 17,     // 8-bit unsigned
    eVtUI2 = 18,     // 16-bit unsigned
    eVtUI4 = 19,     // 32-bit unsigned
    eVtInt = 22,     // 32-bit signed (the machine's int)
    eVtArray = 0x2000,
    eVtByRef = 0x4000,
};

// A scalar, or a one-dimensional array of scalars of one element type.
//
// Scalars keep their number in nValue (booleans as 0 or 1) or their text in strValue.
// Arrays keep their elements in elements: for an element type other than eVtVariant all elements
// have that type; for eVtVariant (a script's generic array) each element carries its own type.
struct CAutoValue
{
    uint16_t vt = eVtEmpty; // element type, with eVtArray and eVtByRef as they apply
    int64_t nValue = 0;
    double dValue = 0; // eVtR8 only
    QString strValue;
    std::vector<CAutoValue> elements;

    bool IsArray() const { return (vt & eVtArray) != 0; }
    bool IsByRef() const { return (vt & eVtByRef) != 0; }
    uint16_t ElementType() const { return static_cast<uint16_t>(vt & ~(eVtArray | eVtByRef)); }
    bool IsNumber() const
    {
        const uint16_t t = ElementType();
        return !IsArray() && t != eVtEmpty && t != eVtBstr && t != eVtVariant;
    }

    static CAutoValue Number(uint16_t vtType, int64_t n)
    {
        CAutoValue v;
        v.vt = vtType;
        v.nValue = n;
        return v;
    }
    // A script's number that is no 32-bit integer. nValue holds it rounded half to even, as OLE
    // converts a double to an integer (0 when out of the 64-bit range).
    static CAutoValue Real(double d)
    {
        CAutoValue v;
        v.vt = eVtR8;
        v.dValue = d;
        v.nValue = d > -9.2e18 && d < 9.2e18 ? static_cast<int64_t>(std::nearbyint(d)) : 0;
        return v;
    }
    static CAutoValue Text(const QString& str)
    {
        CAutoValue v;
        v.vt = eVtBstr;
        v.strValue = str;
        return v;
    }
    // An array of numbers of one element type; bByRef marks it as passed by reference, which is
    // how the write methods expect their data.
    static CAutoValue NumberArray(uint16_t vtElement, const std::vector<int64_t>& values, bool bByRef = true)
    {
        CAutoValue v;
        v.vt = static_cast<uint16_t>(vtElement | eVtArray | (bByRef ? eVtByRef : 0));
        v.elements.reserve(values.size());
        for (int64_t n : values)
        {
            v.elements.push_back(Number(vtElement, n));
        }
        return v;
    }
};

// A failed call: the client status (negative) and the text the caller shows. The code a caller
// reports outward (a D-Bus error, a script's Err.Number) is the status negated.
struct SAutoError
{
    int32_t nStatus = 0;
    QString strText;
};
