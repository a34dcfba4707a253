#include "VbsValue.h"

#include <QDateTime>
#include <QRegularExpression>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>

namespace vbs
{

QString VbsErrorText(int32_t nNumber)
{
    switch (nNumber)
    {
    case 5:
        return QStringLiteral("Invalid procedure call or argument");
    case 6:
        return QStringLiteral("Overflow");
    case 7:
        return QStringLiteral("Out of memory");
    case 9:
        return QStringLiteral("Subscript out of range");
    case 10:
        return QStringLiteral("This array is fixed or temporarily locked");
    case 11:
        return QStringLiteral("Division by zero");
    case 13:
        return QStringLiteral("Type mismatch");
    case 14:
        return QStringLiteral("Out of string space");
    case 28:
        return QStringLiteral("Out of stack space");
    case 35:
        return QStringLiteral("Sub or Function not defined");
    case 51:
        return QStringLiteral("Internal error");
    case 91:
        return QStringLiteral("Object variable not set");
    case 92:
        return QStringLiteral("For loop not initialized");
    case 94:
        return QStringLiteral("Invalid use of Null");
    case 424:
        return QStringLiteral("Object required");
    case 429:
        return QStringLiteral("ActiveX component can't create object");
    case 438:
        return QStringLiteral("Object doesn't support this property or method");
    case 450:
        return QStringLiteral("Wrong number of arguments or invalid property assignment");
    case 451:
        return QStringLiteral("Object not a collection");
    case 500:
        return QStringLiteral("Variable is undefined");
    case 501:
        return QStringLiteral("Illegal assignment");
    case 502:
        return QStringLiteral("Object not safe for scripting");
    default:
        return QString();
    }
}

void VbsRaise(int32_t nNumber, const QString& strName)
{
    CVbsError error;
    error.nNumber = nNumber;
    error.strDescription = VbsErrorText(nNumber);
    if (!strName.isEmpty())
    {
        error.strDescription += QStringLiteral(": '%1'").arg(strName);
    }
    throw error;
}

CVbsValue CVbsValue::Null()
{
    CVbsValue v;
    v.type = EVarType::Null;
    return v;
}
CVbsValue CVbsValue::Integer(int64_t n)
{
    CVbsValue v;
    v.type = EVarType::Integer;
    v.n = n;
    return v;
}
CVbsValue CVbsValue::Long(int64_t n)
{
    CVbsValue v;
    v.type = EVarType::Long;
    v.n = n;
    return v;
}
CVbsValue CVbsValue::Byte(int64_t n)
{
    CVbsValue v;
    v.type = EVarType::Byte;
    v.n = n;
    return v;
}
CVbsValue CVbsValue::Bool(bool b)
{
    CVbsValue v;
    v.type = EVarType::Boolean;
    v.n = b ? -1 : 0;
    return v;
}
CVbsValue CVbsValue::Double(double d)
{
    CVbsValue v;
    v.type = EVarType::Double;
    v.d = d;
    return v;
}
CVbsValue CVbsValue::Date(double d)
{
    CVbsValue v;
    v.type = EVarType::Date;
    v.d = d;
    return v;
}
CVbsValue CVbsValue::String(const QString& s)
{
    CVbsValue v;
    v.type = EVarType::String;
    v.s = s;
    return v;
}
CVbsValue CVbsValue::Object(std::shared_ptr<CVbsObject> obj)
{
    CVbsValue v;
    v.type = EVarType::Object;
    v.obj = std::move(obj);
    return v;
}
CVbsValue CVbsValue::Array(std::shared_ptr<CVbsArray> arr)
{
    CVbsValue v;
    v.type = EVarType::Array;
    v.arr = std::move(arr);
    return v;
}

bool CVbsValue::IsNumeric() const
{
    switch (type)
    {
    case EVarType::Integer:
    case EVarType::Long:
    case EVarType::Byte:
    case EVarType::Double:
    case EVarType::Date:
    case EVarType::Boolean:
        return true;
    default:
        return false;
    }
}

int CVbsValue::VarType() const
{
    if (type == EVarType::Array)
    {
        return static_cast<int>(EVarType::Array) | static_cast<int>(arr->element);
    }
    return static_cast<int>(type);
}

static QString TypeNameOf(EVarType type)
{
    switch (type)
    {
    case EVarType::Empty:
        return QStringLiteral("Empty");
    case EVarType::Null:
        return QStringLiteral("Null");
    case EVarType::Integer:
        return QStringLiteral("Integer");
    case EVarType::Long:
        return QStringLiteral("Long");
    case EVarType::Double:
        return QStringLiteral("Double");
    case EVarType::Date:
        return QStringLiteral("Date");
    case EVarType::String:
        return QStringLiteral("String");
    case EVarType::Object:
        return QStringLiteral("Object");
    case EVarType::Boolean:
        return QStringLiteral("Boolean");
    case EVarType::Variant:
        return QStringLiteral("Variant");
    case EVarType::Byte:
        return QStringLiteral("Byte");
    default:
        return QStringLiteral("Unknown");
    }
}

QString CVbsValue::TypeName() const
{
    if (type == EVarType::Array)
    {
        return TypeNameOf(arr->element) + QStringLiteral("()");
    }
    if (type == EVarType::Object)
    {
        return obj ? obj->TypeName() : QStringLiteral("Nothing");
    }
    return TypeNameOf(type);
}

void CVbsArray::Resize(const std::vector<int32_t>& bounds)
{
    upper = bounds;
    size_t nCount = bounds.empty() ? 0 : 1;
    for (int32_t nUpper : bounds)
    {
        nCount *= static_cast<size_t>(nUpper + 1);
    }
    items.assign(nCount, CVbsValue());
}

CVbsValue& CVbsArray::At(const std::vector<int64_t>& subscripts)
{
    if (subscripts.size() != upper.size())
    {
        VbsRaise(9);
    }
    size_t nOffset = 0;
    size_t nStride = 1;
    for (size_t i = 0; i < subscripts.size(); ++i)
    {
        if (subscripts[i] < 0 || subscripts[i] > upper[i])
        {
            VbsRaise(9);
        }
        nOffset += static_cast<size_t>(subscripts[i]) * nStride;
        nStride *= static_cast<size_t>(upper[i] + 1);
    }
    return items[nOffset];
}

std::shared_ptr<CVbsArray> CVbsArray::Clone() const
{
    auto copy = std::make_shared<CVbsArray>(*this);
    copy->bFixed = false;
    for (CVbsValue& item : copy->items)
    {
        if (item.type == EVarType::Array)
        {
            item.arr = item.arr->Clone();
        }
    }
    return copy;
}

// The nesting depth of an array, counting no further than the limit.
static int Nesting(const CVbsArray& arr, int nLimit)
{
    if (nLimit <= 0)
    {
        return 1;
    }
    int nDeepest = 0;
    for (const CVbsValue& item : arr.items)
    {
        if (item.type == EVarType::Array)
        {
            nDeepest = std::max(nDeepest, Nesting(*item.arr, nLimit - 1));
            if (nDeepest >= nLimit)
            {
                break;
            }
        }
    }
    return nDeepest + 1;
}

void CheckElement(const CVbsValue& value)
{
    if (value.type == EVarType::Array && Nesting(*value.arr, kMaxArrayNesting) >= kMaxArrayNesting)
    {
        VbsRaise(28);
    }
}

void CVbsObject::Put(const QString& strName, const CVbsValue&)
{
    VbsRaise(438, strName);
}

bool CVbsObject::DefaultValue(CVbsValue*) const
{
    return false;
}

double RoundHalfEven(double d)
{
    return std::nearbyint(d); // the default rounding mode rounds half to even
}

bool ParseNumber(const QString& strText, double* pValue)
{
    const QString str = strText.trimmed();
    if (str.isEmpty())
    {
        return false;
    }
    if (str.startsWith(QLatin1Char('&')))
    {
        int nBase = 8;
        QString strDigits = str.mid(1);
        if (strDigits.startsWith(QLatin1Char('H'), Qt::CaseInsensitive))
        {
            nBase = 16;
            strDigits = strDigits.mid(1);
        }
        else if (strDigits.startsWith(QLatin1Char('O'), Qt::CaseInsensitive))
        {
            strDigits = strDigits.mid(1);
        }
        bool bOk = false;
        const qulonglong ulValue = strDigits.toULongLong(&bOk, nBase);
        if (!bOk || strDigits.isEmpty() || ulValue > 0xFFFFFFFFull || strDigits.contains(QLatin1Char('+')) ||
            strDigits.contains(QLatin1Char('-')))
        {
            return false;
        }
        const bool bShort = (nBase == 16 && strDigits.size() <= 4) || (nBase == 8 && ulValue <= 0xFFFF);
        if (bShort)
        {
            *pValue = static_cast<int16_t>(static_cast<uint16_t>(ulValue));
        }
        else
        {
            *pValue = static_cast<int32_t>(static_cast<uint32_t>(ulValue));
        }
        return true;
    }
    static const QRegularExpression kNumber(
        QStringLiteral("^[+-]?\\s*(\\d+\\.?\\d*|\\.\\d+)([eEdD][+-]?\\d+)?$"));
    if (!kNumber.match(str).hasMatch())
    {
        return false;
    }
    QString strC = str;
    strC.remove(QLatin1Char(' '));
    strC.replace(QLatin1Char('d'), QLatin1Char('e')).replace(QLatin1Char('D'), QLatin1Char('e'));
    bool bOk = false;
    const double d = strC.toDouble(&bOk);
    if (!bOk || !std::isfinite(d))
    {
        return false;
    }
    *pValue = d;
    return true;
}

QString FormatDouble(double d)
{
    if (d == 0)
    {
        return QStringLiteral("0");
    }
    char szBuffer[40];
    std::snprintf(szBuffer, sizeof szBuffer, "%.15G", d);
    QString str = QString::fromLatin1(szBuffer);
    // One digit of exponent less than C prints when it has three ("1E+100" stays).
    return str;
}

CVbsValue ToScalar(const CVbsValue& v)
{
    if (v.type != EVarType::Object)
    {
        return v;
    }
    if (!v.obj)
    {
        VbsRaise(91);
    }
    CVbsValue value;
    if (!v.obj->DefaultValue(&value))
    {
        VbsRaise(438);
    }
    return value;
}

double ToDouble(const CVbsValue& value)
{
    const CVbsValue v = ToScalar(value);
    switch (v.type)
    {
    case EVarType::Empty:
        return 0;
    case EVarType::Null:
        VbsRaise(94);
    case EVarType::Integer:
    case EVarType::Long:
    case EVarType::Byte:
    case EVarType::Boolean:
        return static_cast<double>(v.n);
    case EVarType::Double:
    case EVarType::Date:
        return v.d;
    case EVarType::String:
    {
        double d = 0;
        if (!ParseNumber(v.s, &d))
        {
            VbsRaise(13);
        }
        return d;
    }
    default:
        VbsRaise(13);
    }
}

static int64_t ToRoundedInRange(const CVbsValue& value, int64_t nMin, int64_t nMax)
{
    const CVbsValue v = ToScalar(value);
    int64_t n = 0;
    if (v.type == EVarType::Integer || v.type == EVarType::Long || v.type == EVarType::Byte ||
        v.type == EVarType::Boolean)
    {
        n = v.n;
    }
    else
    {
        const double d = RoundHalfEven(ToDouble(v));
        if (!(d >= static_cast<double>(nMin) && d <= static_cast<double>(nMax)))
        {
            VbsRaise(6);
        }
        n = static_cast<int64_t>(d);
    }
    if (n < nMin || n > nMax)
    {
        VbsRaise(6);
    }
    return n;
}

int32_t ToLong(const CVbsValue& v)
{
    return static_cast<int32_t>(
        ToRoundedInRange(v, std::numeric_limits<int32_t>::min(), std::numeric_limits<int32_t>::max()));
}

int16_t ToInteger(const CVbsValue& v)
{
    return static_cast<int16_t>(ToRoundedInRange(v, -32768, 32767));
}

uint8_t ToByte(const CVbsValue& v)
{
    return static_cast<uint8_t>(ToRoundedInRange(v, 0, 255));
}

bool ToBool(const CVbsValue& value)
{
    const CVbsValue v = ToScalar(value);
    switch (v.type)
    {
    case EVarType::Empty:
        return false;
    case EVarType::Null:
        VbsRaise(94);
    case EVarType::String:
    {
        if (v.s.trimmed().compare(QLatin1String("true"), Qt::CaseInsensitive) == 0)
        {
            return true;
        }
        if (v.s.trimmed().compare(QLatin1String("false"), Qt::CaseInsensitive) == 0)
        {
            return false;
        }
        double d = 0;
        if (!ParseNumber(v.s, &d))
        {
            VbsRaise(13);
        }
        return d != 0;
    }
    case EVarType::Double:
    case EVarType::Date:
        return v.d != 0;
    case EVarType::Integer:
    case EVarType::Long:
    case EVarType::Byte:
    case EVarType::Boolean:
        return v.n != 0;
    default:
        VbsRaise(13);
    }
}

QString ToString(const CVbsValue& value)
{
    const CVbsValue v = ToScalar(value);
    switch (v.type)
    {
    case EVarType::Empty:
        return QString();
    case EVarType::Null:
        VbsRaise(94);
    case EVarType::String:
        return v.s;
    case EVarType::Boolean:
        return v.n ? QStringLiteral("True") : QStringLiteral("False");
    case EVarType::Integer:
    case EVarType::Long:
    case EVarType::Byte:
        return QString::number(v.n);
    case EVarType::Double:
        return FormatDouble(v.d);
    case EVarType::Date:
        return FormatDate(v.d);
    default:
        VbsRaise(13);
    }
}

// The width class of a number in arithmetic: 0 Byte, 1 Integer (and Boolean, Empty), 2 Long, 3 Double.
static int Rank(const CVbsValue& v)
{
    switch (v.type)
    {
    case EVarType::Byte:
        return 0;
    case EVarType::Integer:
    case EVarType::Boolean:
    case EVarType::Empty:
        return 1;
    case EVarType::Long:
        return 2;
    default:
        return 3;
    }
}

// An integer result in the narrowest type at least as wide as the operands' that holds it.
static CVbsValue FitInteger(int64_t n, int nRank)
{
    if (nRank <= 0 && n >= 0 && n <= 255)
    {
        return CVbsValue::Byte(n);
    }
    if (nRank <= 1 && n >= -32768 && n <= 32767)
    {
        return CVbsValue::Integer(n);
    }
    if (n >= std::numeric_limits<int32_t>::min() && n <= std::numeric_limits<int32_t>::max())
    {
        return CVbsValue::Long(n);
    }
    return CVbsValue::Double(static_cast<double>(n));
}

static CVbsValue CheckedDouble(double d)
{
    if (!std::isfinite(d))
    {
        VbsRaise(6);
    }
    return CVbsValue::Double(d);
}

// Strings in arithmetic become Doubles; everything else keeps its type.
static CVbsValue NumericOperand(const CVbsValue& v)
{
    if (v.type == EVarType::String)
    {
        return CVbsValue::Double(ToDouble(v));
    }
    if (v.type == EVarType::Array)
    {
        VbsRaise(13);
    }
    return v;
}

static CVbsValue Arithmetic(EBinaryOp op, const CVbsValue& aIn, const CVbsValue& bIn)
{
    const CVbsValue a = NumericOperand(aIn);
    const CVbsValue b = NumericOperand(bIn);
    const int nRank = std::max(Rank(a), Rank(b));
    const bool bDate = (a.type == EVarType::Date) != (b.type == EVarType::Date) &&
                       (op == EBinaryOp::Add || op == EBinaryOp::Subtract);
    if (nRank < 3)
    {
        const int64_t x = a.n;
        const int64_t y = b.n;
        const int64_t r = op == EBinaryOp::Add ? x + y : op == EBinaryOp::Subtract ? x - y : x * y;
        return FitInteger(r, nRank);
    }
    const double x = ToDouble(a);
    const double y = ToDouble(b);
    const double r = op == EBinaryOp::Add ? x + y : op == EBinaryOp::Subtract ? x - y : x * y;
    CVbsValue result = CheckedDouble(r);
    if (bDate)
    {
        result.type = EVarType::Date;
    }
    return result;
}

// The operands of \, Mod and the logical operators as integers, and the type of the result.
static int IntegerRank(const CVbsValue& a, const CVbsValue& b)
{
    auto rank = [](const CVbsValue& v) { return v.type == EVarType::Byte ? 0 : Rank(v) == 1 ? 1 : 2; };
    return std::max(rank(a), rank(b));
}

static CVbsValue IntegerOp(EBinaryOp op, const CVbsValue& aIn, const CVbsValue& bIn)
{
    const CVbsValue a = ToScalar(aIn);
    const CVbsValue b = ToScalar(bIn);
    if (a.IsNull() || b.IsNull())
    {
        return CVbsValue::Null();
    }
    const int64_t x = ToLong(a);
    const int64_t y = ToLong(b);
    if (y == 0)
    {
        VbsRaise(11);
    }
    const int64_t r = op == EBinaryOp::IntDivide ? x / y : x % y; // truncates; Mod takes the dividend's sign
    return FitInteger(r, IntegerRank(a, b));
}

static CVbsValue Logical(EBinaryOp op, const CVbsValue& aIn, const CVbsValue& bIn)
{
    const CVbsValue a = ToScalar(aIn);
    const CVbsValue b = ToScalar(bIn);
    if (a.IsNull() || b.IsNull())
    {
        // Null propagates except where the other side decides the result alone.
        const CVbsValue& other = a.IsNull() ? b : a;
        if (!other.IsNull())
        {
            const int64_t n = ToLong(other);
            if (op == EBinaryOp::And && n == 0)
            {
                return other.type == EVarType::Boolean ? CVbsValue::Bool(false) : FitInteger(0, 1);
            }
            if (op == EBinaryOp::Or && n == -1)
            {
                return other;
            }
            if (op == EBinaryOp::Imp && a.IsNull() && n == -1)
            {
                return other;
            }
            if (op == EBinaryOp::Imp && b.IsNull() && n == 0)
            {
                return CVbsValue::Bool(true);
            }
        }
        return CVbsValue::Null();
    }
    const int64_t x = ToLong(a);
    const int64_t y = ToLong(b);
    int64_t r = 0;
    switch (op)
    {
    case EBinaryOp::And:
        r = x & y;
        break;
    case EBinaryOp::Or:
        r = x | y;
        break;
    case EBinaryOp::Xor:
        r = x ^ y;
        break;
    case EBinaryOp::Eqv:
        r = ~(x ^ y);
        break;
    default:
        r = (~x) | y;
        break;
    }
    if (a.type == EVarType::Boolean && b.type == EVarType::Boolean)
    {
        return CVbsValue::Bool(r != 0);
    }
    const int nRank = IntegerRank(a, b);
    if (nRank == 0)
    {
        return CVbsValue::Byte(r & 0xFF);
    }
    if (nRank == 1)
    {
        return CVbsValue::Integer(static_cast<int16_t>(r));
    }
    return CVbsValue::Long(static_cast<int32_t>(r));
}

int Compare(const CVbsValue& aIn, const CVbsValue& bIn, bool bLiteralLeft, bool bLiteralRight, bool bText)
{
    CVbsValue a = ToScalar(aIn);
    CVbsValue b = ToScalar(bIn);
    if (a.IsNull() || b.IsNull())
    {
        return 2;
    }
    if (a.IsArray() || b.IsArray())
    {
        VbsRaise(13);
    }
    if (a.IsEmpty() && b.IsString())
    {
        a = CVbsValue::String(QString());
    }
    if (b.IsEmpty() && a.IsString())
    {
        b = CVbsValue::String(QString());
    }
    if (a.IsString() != b.IsString())
    {
        // A number meets a string: a literal takes the other side's kind, otherwise numbers are
        // less than strings.
        const bool bStringLiteral = a.IsString() ? bLiteralLeft : bLiteralRight;
        const bool bNumberLiteral = a.IsString() ? bLiteralRight : bLiteralLeft;
        double dLiteral = 0;
        if (bStringLiteral && ParseNumber(a.IsString() ? a.s : b.s, &dLiteral))
        {
            (a.IsString() ? a : b) = CVbsValue::Double(dLiteral);
        }
        else if (bNumberLiteral)
        {
            (a.IsString() ? b : a) = CVbsValue::String(ToString(a.IsString() ? b : a));
        }
        else
        {
            return a.IsString() ? 1 : -1;
        }
    }
    if (a.IsString())
    {
        const int n = QString::compare(a.s, b.s, bText ? Qt::CaseInsensitive : Qt::CaseSensitive);
        return n < 0 ? -1 : n > 0 ? 1 : 0;
    }
    const double x = ToDouble(a);
    const double y = ToDouble(b);
    return x < y ? -1 : x > y ? 1 : 0;
}

static CVbsValue JoinStrings(const QString& a, const QString& b)
{
    if (a.size() + b.size() > kMaxStringLength)
    {
        VbsRaise(14);
    }
    return CVbsValue::String(a + b);
}

CVbsValue BinaryOp(EBinaryOp op, const CVbsValue& aIn, const CVbsValue& bIn, bool bLiteralLeft,
                   bool bLiteralRight)
{
    switch (op)
    {
    case EBinaryOp::Is:
    {
        if (aIn.type != EVarType::Object || bIn.type != EVarType::Object)
        {
            VbsRaise(424);
        }
        return CVbsValue::Bool(aIn.obj == bIn.obj);
    }
    case EBinaryOp::Concat:
    {
        const CVbsValue a = ToScalar(aIn);
        const CVbsValue b = ToScalar(bIn);
        if (a.IsNull() && b.IsNull())
        {
            return CVbsValue::Null();
        }
        return JoinStrings(a.IsNull() ? QString() : ToString(a), b.IsNull() ? QString() : ToString(b));
    }
    case EBinaryOp::And:
    case EBinaryOp::Or:
    case EBinaryOp::Xor:
    case EBinaryOp::Eqv:
    case EBinaryOp::Imp:
        return Logical(op, aIn, bIn);
    case EBinaryOp::IntDivide:
    case EBinaryOp::Mod:
        return IntegerOp(op, aIn, bIn);
    case EBinaryOp::Equal:
    case EBinaryOp::NotEqual:
    case EBinaryOp::Less:
    case EBinaryOp::Greater:
    case EBinaryOp::LessEqual:
    case EBinaryOp::GreaterEqual:
    {
        const int n = Compare(aIn, bIn, bLiteralLeft, bLiteralRight);
        if (n == 2)
        {
            return CVbsValue::Null();
        }
        bool b = false;
        switch (op)
        {
        case EBinaryOp::Equal:
            b = n == 0;
            break;
        case EBinaryOp::NotEqual:
            b = n != 0;
            break;
        case EBinaryOp::Less:
            b = n < 0;
            break;
        case EBinaryOp::Greater:
            b = n > 0;
            break;
        case EBinaryOp::LessEqual:
            b = n <= 0;
            break;
        default:
            b = n >= 0;
            break;
        }
        return CVbsValue::Bool(b);
    }
    default:
        break;
    }

    const CVbsValue a = ToScalar(aIn);
    const CVbsValue b = ToScalar(bIn);
    if (a.IsNull() || b.IsNull())
    {
        return CVbsValue::Null();
    }
    switch (op)
    {
    case EBinaryOp::Add:
        if (a.IsString() && b.IsString())
        {
            return JoinStrings(a.s, b.s);
        }
        if ((a.IsString() && b.IsEmpty()) || (a.IsEmpty() && b.IsString()))
        {
            return a.IsString() ? a : b;
        }
        return Arithmetic(op, a, b);
    case EBinaryOp::Subtract:
    case EBinaryOp::Multiply:
        return Arithmetic(op, a, b);
    case EBinaryOp::Divide:
    {
        const double x = ToDouble(NumericOperand(a));
        const double y = ToDouble(NumericOperand(b));
        if (y == 0)
        {
            VbsRaise(x == 0 ? 6 : 11);
        }
        return CheckedDouble(x / y);
    }
    case EBinaryOp::Power:
    {
        const double x = ToDouble(NumericOperand(a));
        const double y = ToDouble(NumericOperand(b));
        if ((x == 0 && y < 0) || (x < 0 && y != std::floor(y)))
        {
            VbsRaise(5);
        }
        return CheckedDouble(std::pow(x, y));
    }
    default:
        VbsRaise(51);
    }
}

CVbsValue Negate(const CVbsValue& value)
{
    const CVbsValue v = NumericOperand(ToScalar(value));
    switch (v.type)
    {
    case EVarType::Null:
        return v;
    case EVarType::Empty:
        return CVbsValue::Integer(0);
    case EVarType::Double:
        return CVbsValue::Double(-v.d);
    case EVarType::Date:
        return CVbsValue::Date(-v.d);
    case EVarType::Long:
        return FitInteger(-v.n, 2);
    default: // Byte, Integer, Boolean
        return FitInteger(-v.n, 1);
    }
}

CVbsValue Not(const CVbsValue& value)
{
    const CVbsValue v = ToScalar(value);
    switch (v.type)
    {
    case EVarType::Null:
        return v;
    case EVarType::Boolean:
        return CVbsValue::Bool(v.n == 0);
    case EVarType::Byte:
        return CVbsValue::Byte(~v.n & 0xFF);
    case EVarType::Empty:
        return CVbsValue::Integer(-1);
    case EVarType::Integer:
        return CVbsValue::Integer(~v.n);
    default:
        return CVbsValue::Long(~static_cast<int64_t>(ToLong(v)));
    }
}

static const QDate kDateZero(1899, 12, 30);

double DateSerialNow()
{
    const QDateTime now = QDateTime::currentDateTime();
    return static_cast<double>(kDateZero.daysTo(now.date())) + now.time().msecsSinceStartOfDay() / 86400000.0;
}

QString FormatDate(double dSerial)
{
    const double dDays = std::floor(dSerial);
    const int nMsecs = static_cast<int>(std::llround((dSerial - dDays) * 86400000.0)) % 86400000;
    const QDate date = kDateZero.addDays(static_cast<qint64>(dDays));
    const QTime time = QTime::fromMSecsSinceStartOfDay(nMsecs);
    const QString strDate = QStringLiteral("%1/%2/%3").arg(date.month()).arg(date.day()).arg(date.year());
    const int nHour12 = time.hour() % 12 == 0 ? 12 : time.hour() % 12;
    const QString strTime = QStringLiteral("%1:%2:%3 %4")
                                .arg(nHour12)
                                .arg(time.minute(), 2, 10, QLatin1Char('0'))
                                .arg(time.second(), 2, 10, QLatin1Char('0'))
                                .arg(time.hour() < 12 ? QStringLiteral("AM") : QStringLiteral("PM"));
    if (dDays == 0)
    {
        return strTime;
    }
    if (nMsecs == 0)
    {
        return strDate;
    }
    return strDate + QLatin1Char(' ') + strTime;
}

} // namespace vbs
