// The built-in functions and constants of VBScript that the interpreter offers, each as the
// VBScript language reference describes it (argument checks, Null handling, result types).
#include "VbsInterpreter.h"

#include <QDateTime>
#include <QLocale>

#include <cmath>

namespace vbs
{
namespace
{

using Args = std::vector<CVbsValue>;

bool AnyNull(const Args& args, size_t nCount)
{
    for (size_t i = 0; i < std::min(nCount, args.size()); ++i)
    {
        if (args[i].IsNull())
        {
            return true;
        }
    }
    return false;
}

// A length or count argument: a Long that may not be negative.
int32_t Count(const CVbsValue& v)
{
    const int32_t n = ToLong(v);
    if (n < 0)
    {
        VbsRaise(5);
    }
    return n;
}

Qt::CaseSensitivity CompareMode(const Args& args, size_t nIndex)
{
    if (args.size() <= nIndex || args[nIndex].IsEmpty())
    {
        return Qt::CaseSensitive;
    }
    const int32_t nMode = ToLong(args[nIndex]);
    if (nMode < 0 || nMode > 2)
    {
        VbsRaise(5);
    }
    return nMode == 0 ? Qt::CaseSensitive : Qt::CaseInsensitive;
}

CVbsValue Len(CVbsInterpreter&, Args& a)
{
    if (a[0].IsNull())
    {
        return CVbsValue::Null();
    }
    return CVbsValue::Long(ToString(a[0]).size());
}

CVbsValue Left(CVbsInterpreter&, Args& a)
{
    if (a[0].IsNull())
    {
        return CVbsValue::Null();
    }
    return CVbsValue::String(ToString(a[0]).left(Count(a[1])));
}

CVbsValue Right(CVbsInterpreter&, Args& a)
{
    if (a[0].IsNull())
    {
        return CVbsValue::Null();
    }
    return CVbsValue::String(ToString(a[0]).right(Count(a[1])));
}

CVbsValue Mid(CVbsInterpreter&, Args& a)
{
    if (a[0].IsNull())
    {
        return CVbsValue::Null();
    }
    const int32_t nStart = ToLong(a[1]);
    if (nStart < 1)
    {
        VbsRaise(5);
    }
    const QString str = ToString(a[0]);
    const int32_t nLength = a.size() > 2 ? Count(a[2]) : static_cast<int32_t>(str.size());
    return CVbsValue::String(str.mid(nStart - 1, nLength));
}

CVbsValue InStr(CVbsInterpreter&, Args& a)
{
    // InStr([start, ]string1, string2[, compare])
    int32_t nStart = 1;
    size_t i = 0;
    if (a.size() >= 3)
    {
        if (a[0].IsNull())
        {
            VbsRaise(94);
        }
        nStart = ToLong(a[0]);
        if (nStart < 1)
        {
            VbsRaise(5);
        }
        i = 1;
    }
    if (a[i].IsNull() || a[i + 1].IsNull())
    {
        return CVbsValue::Null();
    }
    const QString strHay = ToString(a[i]);
    const QString strNeedle = ToString(a[i + 1]);
    const Qt::CaseSensitivity cs = CompareMode(a, i + 2);
    if (nStart > strHay.size())
    {
        return CVbsValue::Long(0);
    }
    return CVbsValue::Long(strHay.indexOf(strNeedle, nStart - 1, cs) + 1);
}

CVbsValue InStrRev(CVbsInterpreter&, Args& a)
{
    // InStrRev(string1, string2[, start[, compare]])
    if (a[0].IsNull() || a[1].IsNull())
    {
        return CVbsValue::Null();
    }
    const QString strHay = ToString(a[0]);
    const QString strNeedle = ToString(a[1]);
    int32_t nStart = a.size() > 2 ? ToLong(a[2]) : -1;
    if (nStart == 0 || nStart < -1)
    {
        VbsRaise(5);
    }
    const Qt::CaseSensitivity cs = CompareMode(a, 3);
    if (nStart == -1)
    {
        nStart = static_cast<int32_t>(strHay.size());
    }
    if (nStart > strHay.size())
    {
        return CVbsValue::Long(0);
    }
    if (strNeedle.isEmpty())
    {
        return CVbsValue::Long(nStart);
    }
    // The match must end at or before position nStart.
    const qsizetype nFrom = nStart - strNeedle.size();
    if (nFrom < 0)
    {
        return CVbsValue::Long(0);
    }
    return CVbsValue::Long(strHay.lastIndexOf(strNeedle, nFrom, cs) + 1);
}

CVbsValue Replace(CVbsInterpreter&, Args& a)
{
    // Replace(expression, find, replacewith[, start[, count[, compare]]]): the result starts at
    // start.
    if (AnyNull(a, 3))
    {
        return CVbsValue::Null();
    }
    const QString str = ToString(a[0]);
    const QString strFind = ToString(a[1]);
    const QString strWith = ToString(a[2]);
    const int32_t nStart = a.size() > 3 ? ToLong(a[3]) : 1;
    int32_t nCount = a.size() > 4 ? ToLong(a[4]) : -1;
    if (nStart < 1 || nCount < -1)
    {
        VbsRaise(5);
    }
    const Qt::CaseSensitivity cs = CompareMode(a, 5);
    QString strRest = str.mid(nStart - 1);
    if (strFind.isEmpty())
    {
        return CVbsValue::String(strRest);
    }
    QString strResult;
    qsizetype nPos = 0;
    while (nCount != 0)
    {
        const qsizetype nFound = strRest.indexOf(strFind, nPos, cs);
        if (nFound < 0)
        {
            break;
        }
        strResult += QStringView(strRest).mid(nPos, nFound - nPos);
        strResult += strWith;
        if (strResult.size() > kMaxStringLength)
        {
            VbsRaise(14);
        }
        nPos = nFound + strFind.size();
        if (nCount > 0)
        {
            --nCount;
        }
    }
    strResult += QStringView(strRest).mid(nPos);
    return CVbsValue::String(strResult);
}

std::shared_ptr<CVbsArray> NewArray(size_t nCount)
{
    auto arr = std::make_shared<CVbsArray>();
    arr->Resize({static_cast<int32_t>(nCount) - 1});
    return arr;
}

CVbsValue Split(CVbsInterpreter&, Args& a)
{
    if (a[0].IsNull())
    {
        return CVbsValue::Null();
    }
    const QString str = ToString(a[0]);
    const QString strDelimiter = a.size() > 1 ? ToString(a[1]) : QStringLiteral(" ");
    int32_t nLimit = a.size() > 2 ? ToLong(a[2]) : -1;
    if (nLimit < -1)
    {
        VbsRaise(5);
    }
    const Qt::CaseSensitivity cs = CompareMode(a, 3);
    QStringList parts;
    if (!str.isEmpty() && nLimit != 0)
    {
        if (strDelimiter.isEmpty())
        {
            parts << str;
        }
        else
        {
            qsizetype nPos = 0;
            while (nLimit == -1 || parts.size() < nLimit - 1)
            {
                const qsizetype nFound = str.indexOf(strDelimiter, nPos, cs);
                if (nFound < 0)
                {
                    break;
                }
                parts << str.mid(nPos, nFound - nPos);
                nPos = nFound + strDelimiter.size();
            }
            parts << str.mid(nPos);
        }
    }
    auto arr = NewArray(static_cast<size_t>(parts.size()));
    for (qsizetype i = 0; i < parts.size(); ++i)
    {
        arr->items[static_cast<size_t>(i)] = CVbsValue::String(parts[i]);
    }
    return CVbsValue::Array(std::move(arr));
}

const CVbsArray& OneDimensional(const CVbsValue& v)
{
    if (!v.IsArray())
    {
        VbsRaise(13);
    }
    if (v.arr->upper.size() != 1)
    {
        VbsRaise(5);
    }
    return *v.arr;
}

CVbsValue Join(CVbsInterpreter&, Args& a)
{
    const CVbsArray& arr = OneDimensional(a[0]);
    const QString strDelimiter = a.size() > 1 ? ToString(a[1]) : QStringLiteral(" ");
    QStringList parts;
    for (const CVbsValue& item : arr.items)
    {
        parts << (item.IsNull() ? QString() : ToString(item));
    }
    return CVbsValue::String(parts.join(strDelimiter));
}

template <QString (*Transform)(const QString&)> CVbsValue StringFunction(CVbsInterpreter&, Args& a)
{
    if (a[0].IsNull())
    {
        return CVbsValue::Null();
    }
    return CVbsValue::String(Transform(ToString(a[0])));
}

QString Upper(const QString& s)
{
    return s.toUpper();
}
QString Lower(const QString& s)
{
    return s.toLower();
}
QString TrimLeft(const QString& s)
{
    qsizetype i = 0;
    while (i < s.size() && s[i] == QLatin1Char(' '))
    {
        ++i;
    }
    return s.mid(i);
}
QString TrimRight(const QString& s)
{
    qsizetype n = s.size();
    while (n > 0 && s[n - 1] == QLatin1Char(' '))
    {
        --n;
    }
    return s.left(n);
}
QString TrimBoth(const QString& s)
{
    return TrimLeft(TrimRight(s));
}
QString Reverse(const QString& s)
{
    QString r(s);
    std::reverse(r.begin(), r.end());
    return r;
}

CVbsValue Space(CVbsInterpreter&, Args& a)
{
    const int32_t n = Count(a[0]);
    if (n > kMaxStringLength)
    {
        VbsRaise(14);
    }
    return CVbsValue::String(QString(n, QLatin1Char(' ')));
}

CVbsValue StringOf(CVbsInterpreter&, Args& a)
{
    if (a[0].IsNull() || a[1].IsNull())
    {
        return CVbsValue::Null();
    }
    const int32_t n = Count(a[0]);
    if (n > kMaxStringLength)
    {
        VbsRaise(14);
    }
    QChar c;
    if (a[1].IsString())
    {
        if (a[1].s.isEmpty())
        {
            VbsRaise(5);
        }
        c = a[1].s[0];
    }
    else
    {
        c = QChar(static_cast<char16_t>(ToLong(a[1]) & 0xFF));
    }
    return CVbsValue::String(QString(n, c));
}

CVbsValue StrComp(CVbsInterpreter&, Args& a)
{
    if (a[0].IsNull() || a[1].IsNull())
    {
        return CVbsValue::Null();
    }
    const int n = QString::compare(ToString(a[0]), ToString(a[1]), CompareMode(a, 2));
    return CVbsValue::Integer(n < 0 ? -1 : n > 0 ? 1 : 0);
}

CVbsValue Asc(CVbsInterpreter&, Args& a)
{
    const QString str = ToString(a[0]);
    if (str.isEmpty())
    {
        VbsRaise(5);
    }
    const int n = str[0].unicode();
    return n <= 32767 ? CVbsValue::Integer(n) : CVbsValue::Integer(n - 65536);
}

CVbsValue Chr(CVbsInterpreter&, Args& a)
{
    const int32_t n = ToLong(a[0]);
    if (n < 0 || n > 255)
    {
        VbsRaise(5);
    }
    return CVbsValue::String(QString(QChar(static_cast<char16_t>(n))));
}

CVbsValue ChrW(CVbsInterpreter&, Args& a)
{
    const int32_t n = ToLong(a[0]);
    if (n < -32768 || n > 65535)
    {
        VbsRaise(5);
    }
    return CVbsValue::String(QString(QChar(static_cast<char16_t>(n & 0xFFFF))));
}

// Hex and Oct print negative Integers in 16 bits and everything else in 32, as VBScript does.
CVbsValue Radix(const CVbsValue& v, int nBase)
{
    if (v.IsNull())
    {
        return CVbsValue::Null();
    }
    const CVbsValue scalar = ToScalar(v);
    const int32_t n = ToLong(scalar);
    const bool bShort = scalar.type == EVarType::Integer || scalar.type == EVarType::Boolean ||
                        scalar.type == EVarType::Byte || scalar.type == EVarType::Empty;
    const uint32_t u =
        bShort && n < 0 ? static_cast<uint32_t>(static_cast<uint16_t>(n)) : static_cast<uint32_t>(n);
    return CVbsValue::String(QString::number(u, nBase).toUpper());
}

CVbsValue Hex(CVbsInterpreter&, Args& a)
{
    return Radix(a[0], 16);
}

CVbsValue Oct(CVbsInterpreter&, Args& a)
{
    return Radix(a[0], 8);
}

CVbsValue CInt(CVbsInterpreter&, Args& a)
{
    return CVbsValue::Integer(ToInteger(a[0]));
}
CVbsValue CLng(CVbsInterpreter&, Args& a)
{
    return CVbsValue::Long(ToLong(a[0]));
}
CVbsValue CDbl(CVbsInterpreter&, Args& a)
{
    return CVbsValue::Double(ToDouble(a[0]));
}
CVbsValue CStr(CVbsInterpreter&, Args& a)
{
    return CVbsValue::String(ToString(a[0]));
}
CVbsValue CBool(CVbsInterpreter&, Args& a)
{
    return CVbsValue::Bool(ToBool(a[0]));
}
CVbsValue CByte(CVbsInterpreter&, Args& a)
{
    return CVbsValue::Byte(ToByte(a[0]));
}

// Int, Fix, Abs keep an integer type and give a Double for anything else.
template <double (*Op)(double)> CVbsValue Rounding(CVbsInterpreter&, Args& a)
{
    const CVbsValue v = ToScalar(a[0]);
    switch (v.type)
    {
    case EVarType::Null:
        return v;
    case EVarType::Empty:
        return CVbsValue::Integer(0);
    case EVarType::Integer:
    case EVarType::Long:
    case EVarType::Byte:
        return v;
    case EVarType::Boolean:
        return CVbsValue::Integer(v.n);
    default:
        return CVbsValue::Double(Op(ToDouble(v)));
    }
}

double Floor(double d)
{
    return std::floor(d);
}
double Trunc(double d)
{
    return std::trunc(d);
}

CVbsValue Abs(CVbsInterpreter&, Args& a)
{
    const CVbsValue v = ToScalar(a[0]);
    switch (v.type)
    {
    case EVarType::Null:
        return v;
    case EVarType::Empty:
        return CVbsValue::Integer(0);
    case EVarType::Integer:
    case EVarType::Boolean:
        return v.n == -32768 ? CVbsValue::Long(32768) : CVbsValue::Integer(std::abs(v.n));
    case EVarType::Long:
        return v.n == INT32_MIN ? CVbsValue::Double(2147483648.0) : CVbsValue::Long(std::abs(v.n));
    case EVarType::Byte:
        return v;
    default:
        return CVbsValue::Double(std::fabs(ToDouble(v)));
    }
}

CVbsValue Sgn(CVbsInterpreter&, Args& a)
{
    if (a[0].IsNull())
    {
        return CVbsValue::Null();
    }
    const double d = ToDouble(a[0]);
    return CVbsValue::Integer(d < 0 ? -1 : d > 0 ? 1 : 0);
}

CVbsValue Round(CVbsInterpreter&, Args& a)
{
    const CVbsValue v = ToScalar(a[0]);
    if (v.IsNull())
    {
        return v;
    }
    const int32_t nDigits = a.size() > 1 ? ToLong(a[1]) : 0;
    if (nDigits < 0)
    {
        VbsRaise(5);
    }
    if (v.type == EVarType::Integer || v.type == EVarType::Long || v.type == EVarType::Byte)
    {
        return v;
    }
    if (v.type == EVarType::Empty || v.type == EVarType::Boolean)
    {
        return CVbsValue::Integer(v.n);
    }
    const double d = ToDouble(v);
    if (nDigits == 0)
    {
        return CVbsValue::Double(RoundHalfEven(d));
    }
    const double dScale = std::pow(10.0, std::min(nDigits, 15));
    const double dScaled = d * dScale;
    // Decide the half from the decimal text, so 2.675 rounds as the digits show.
    const double dRounded = RoundHalfEven(QString::number(dScaled, 'g', 15).toDouble());
    return CVbsValue::Double(dRounded / dScale);
}

template <double (*Op)(double), int nDomain> CVbsValue Math(CVbsInterpreter&, Args& a)
{
    if (a[0].IsNull())
    {
        return CVbsValue::Null();
    }
    const double d = ToDouble(a[0]);
    if ((nDomain == 1 && d < 0) || (nDomain == 2 && d <= 0))
    {
        VbsRaise(5);
    }
    const double r = Op(d);
    if (!std::isfinite(r))
    {
        VbsRaise(6);
    }
    return CVbsValue::Double(r);
}

double Sqrt(double d)
{
    return std::sqrt(d);
}
double Exp(double d)
{
    return std::exp(d);
}
double Ln(double d)
{
    return std::log(d);
}
double Sine(double d)
{
    return std::sin(d);
}
double Cosine(double d)
{
    return std::cos(d);
}
double Tangent(double d)
{
    return std::tan(d);
}
double ArcTangent(double d)
{
    return std::atan(d);
}

CVbsValue Rnd(CVbsInterpreter& interpreter, Args& a)
{
    return CVbsValue::Double(interpreter.Random(a.empty() ? 1.0 : ToDouble(a[0])));
}

CVbsValue IsNumeric(CVbsInterpreter&, Args& a)
{
    const CVbsValue& v = a[0];
    if (v.IsString())
    {
        double d = 0;
        return CVbsValue::Bool(ParseNumber(v.s, &d));
    }
    return CVbsValue::Bool(v.IsEmpty() || (v.IsNumeric() && v.type != EVarType::Date));
}
CVbsValue IsArray(CVbsInterpreter&, Args& a)
{
    return CVbsValue::Bool(a[0].IsArray());
}
CVbsValue IsEmpty(CVbsInterpreter&, Args& a)
{
    return CVbsValue::Bool(a[0].IsEmpty());
}
CVbsValue IsNull(CVbsInterpreter&, Args& a)
{
    return CVbsValue::Bool(a[0].IsNull());
}
CVbsValue IsObject(CVbsInterpreter&, Args& a)
{
    return CVbsValue::Bool(a[0].IsObject());
}
CVbsValue TypeName(CVbsInterpreter&, Args& a)
{
    return CVbsValue::String(a[0].TypeName());
}
CVbsValue VarType(CVbsInterpreter&, Args& a)
{
    return CVbsValue::Integer(a[0].VarType());
}

int32_t Dimension(const Args& a, const CVbsArray& arr)
{
    const int32_t nDimension = a.size() > 1 ? ToLong(a[1]) : 1;
    if (nDimension < 1 || nDimension > static_cast<int32_t>(arr.upper.size()))
    {
        VbsRaise(9);
    }
    return nDimension - 1;
}

CVbsValue UBound(CVbsInterpreter&, Args& a)
{
    if (!a[0].IsArray())
    {
        VbsRaise(13);
    }
    const CVbsArray& arr = *a[0].arr;
    return CVbsValue::Long(arr.upper[static_cast<size_t>(Dimension(a, arr))]);
}

CVbsValue LBound(CVbsInterpreter&, Args& a)
{
    if (!a[0].IsArray())
    {
        VbsRaise(13);
    }
    Dimension(a, *a[0].arr);
    return CVbsValue::Long(0);
}

CVbsValue ArrayOf(CVbsInterpreter&, Args& a)
{
    auto arr = NewArray(a.size());
    for (size_t i = 0; i < a.size(); ++i)
    {
        CheckElement(a[i]);
        arr->items[i] = a[i];
        if (arr->items[i].IsArray())
        {
            arr->items[i].arr = arr->items[i].arr->Clone();
        }
    }
    return CVbsValue::Array(std::move(arr));
}

CVbsValue Now(CVbsInterpreter&, Args&)
{
    return CVbsValue::Date(std::floor(DateSerialNow() * 86400.0) / 86400.0);
}
CVbsValue Today(CVbsInterpreter&, Args&)
{
    return CVbsValue::Date(std::floor(DateSerialNow()));
}
CVbsValue TimeOfDay(CVbsInterpreter&, Args&)
{
    const double d = std::floor(DateSerialNow() * 86400.0) / 86400.0;
    return CVbsValue::Date(d - std::floor(d));
}
CVbsValue Timer(CVbsInterpreter&, Args&)
{
    return CVbsValue::Double(QTime::currentTime().msecsSinceStartOfDay() / 1000.0);
}

// A date argument: a Date or number as its serial, or text in the forms CStr gives.
double DateArgument(const CVbsValue& v)
{
    if (!v.IsString())
    {
        return ToDouble(v);
    }
    static const QDate kZero(1899, 12, 30);
    const QString str = v.s.trimmed();
    for (const char* pszFormat :
         {"M/d/yyyy h:mm:ss AP", "M/d/yyyy H:mm:ss", "M/d/yyyy", "yyyy-MM-dd HH:mm:ss", "yyyy-MM-dd"})
    {
        const QDateTime dt = QDateTime::fromString(str, QLatin1String(pszFormat));
        if (dt.isValid())
        {
            return static_cast<double>(kZero.daysTo(dt.date())) +
                   dt.time().msecsSinceStartOfDay() / 86400000.0;
        }
    }
    for (const char* pszFormat : {"h:mm:ss AP", "H:mm:ss", "H:mm"})
    {
        const QTime time = QTime::fromString(str, QLatin1String(pszFormat));
        if (time.isValid())
        {
            return time.msecsSinceStartOfDay() / 86400000.0;
        }
    }
    VbsRaise(13);
}

template <int nPart> CVbsValue DatePart(CVbsInterpreter&, Args& a)
{
    if (a[0].IsNull())
    {
        return CVbsValue::Null();
    }
    const double d = DateArgument(a[0]);
    static const QDate kZero(1899, 12, 30);
    const double dDays = std::floor(d);
    const QDate date = kZero.addDays(static_cast<qint64>(dDays));
    const int nSeconds = static_cast<int>(std::llround((d - dDays) * 86400.0)) % 86400;
    switch (nPart)
    {
    case 0:
        return CVbsValue::Integer(date.year());
    case 1:
        return CVbsValue::Integer(date.month());
    case 2:
        return CVbsValue::Integer(date.day());
    case 3:
        return CVbsValue::Integer(nSeconds / 3600);
    case 4:
        return CVbsValue::Integer(nSeconds / 60 % 60);
    case 5:
        return CVbsValue::Integer(nSeconds % 60);
    default:
        return CVbsValue::Integer(date.dayOfWeek() % 7 + 1); // Sunday is 1
    }
}

CVbsValue FormatNumber(CVbsInterpreter&, Args& a)
{
    // FormatNumber(expression[, digits after the point = 2[, leading digit[, parentheses[, group]]]])
    if (a[0].IsNull())
    {
        return CVbsValue::Null();
    }
    const double d = ToDouble(a[0]);
    const int32_t nDigits = a.size() > 1 && !a[1].IsEmpty() && ToLong(a[1]) != -1 ? ToLong(a[1]) : 2;
    if (nDigits < 0 || nDigits > 255)
    {
        VbsRaise(5);
    }
    auto tristate = [&](size_t i, bool bDefault)
    {
        if (a.size() <= i || a[i].IsEmpty())
        {
            return bDefault;
        }
        const int32_t n = ToLong(a[i]);
        return n == -2 ? bDefault : n != 0;
    };
    const bool bLeadingDigit = tristate(2, true);
    const bool bParens = tristate(3, false);
    const bool bGroup = tristate(4, true);
    QLocale locale(QLocale::English, QLocale::UnitedStates);
    if (!bGroup)
    {
        locale.setNumberOptions(QLocale::OmitGroupSeparator);
    }
    const double dRounded =
        RoundHalfEven(QString::number(std::fabs(d) * std::pow(10.0, nDigits), 'g', 15).toDouble()) /
        std::pow(10.0, nDigits);
    QString str = locale.toString(dRounded, 'f', nDigits);
    if (!bLeadingDigit && str.startsWith(QLatin1String("0.")))
    {
        str = str.mid(1);
    }
    if (d < 0 && dRounded != 0)
    {
        str = bParens ? QLatin1Char('(') + str + QLatin1Char(')') : QLatin1Char('-') + str;
    }
    return CVbsValue::String(str);
}

CVbsValue MsgBox(CVbsInterpreter& interpreter, Args& a)
{
    const QString strText = a[0].IsNull() ? QStringLiteral("Null") : ToString(a[0]);
    const int32_t nButtons = a.size() > 1 && !a[1].IsEmpty() ? ToLong(a[1]) : 0;
    const QString strTitle = a.size() > 2 && !a[2].IsEmpty() ? ToString(a[2]) : QStringLiteral("VBScript");
    return CVbsValue::Integer(interpreter.MessageBox(strText, nButtons, strTitle));
}

CVbsValue CreateObject(CVbsInterpreter& interpreter, Args& a)
{
    return interpreter.CreateObject(ToString(a[0]));
}

CVbsValue ScriptEngine(CVbsInterpreter&, Args&)
{
    return CVbsValue::String(QStringLiteral("VBScript"));
}
CVbsValue ScriptEngineMajorVersion(CVbsInterpreter&, Args&)
{
    return CVbsValue::Long(5);
}
CVbsValue ScriptEngineMinorVersion(CVbsInterpreter&, Args&)
{
    return CVbsValue::Long(8);
}
CVbsValue ScriptEngineBuildVersion(CVbsInterpreter&, Args&)
{
    return CVbsValue::Long(0);
}

} // namespace

const SBuiltin* FindBuiltin(const QString& strKey)
{
    static const QHash<QString, SBuiltin> kBuiltins = {
        {QStringLiteral("len"), {1, 1, Len}},
        {QStringLiteral("left"), {2, 2, Left}},
        {QStringLiteral("right"), {2, 2, Right}},
        {QStringLiteral("mid"), {2, 3, Mid}},
        {QStringLiteral("instr"), {2, 4, InStr}},
        {QStringLiteral("instrrev"), {2, 4, InStrRev}},
        {QStringLiteral("replace"), {3, 6, Replace}},
        {QStringLiteral("split"), {1, 4, Split}},
        {QStringLiteral("join"), {1, 2, Join}},
        {QStringLiteral("ucase"), {1, 1, StringFunction<Upper>}},
        {QStringLiteral("lcase"), {1, 1, StringFunction<Lower>}},
        {QStringLiteral("trim"), {1, 1, StringFunction<TrimBoth>}},
        {QStringLiteral("ltrim"), {1, 1, StringFunction<TrimLeft>}},
        {QStringLiteral("rtrim"), {1, 1, StringFunction<TrimRight>}},
        {QStringLiteral("strreverse"), {1, 1, StringFunction<Reverse>}},
        {QStringLiteral("space"), {1, 1, Space}},
        {QStringLiteral("string"), {2, 2, StringOf}},
        {QStringLiteral("strcomp"), {2, 3, StrComp}},
        {QStringLiteral("asc"), {1, 1, Asc}},
        {QStringLiteral("ascw"), {1, 1, Asc}},
        {QStringLiteral("chr"), {1, 1, Chr}},
        {QStringLiteral("chrw"), {1, 1, ChrW}},
        {QStringLiteral("hex"), {1, 1, Hex}},
        {QStringLiteral("oct"), {1, 1, Oct}},
        {QStringLiteral("cint"), {1, 1, CInt}},
        {QStringLiteral("clng"), {1, 1, CLng}},
        {QStringLiteral("cdbl"), {1, 1, CDbl}},
        {QStringLiteral("csng"), {1, 1, CDbl}},
        {QStringLiteral("cstr"), {1, 1, CStr}},
        {QStringLiteral("cbool"), {1, 1, CBool}},
        {QStringLiteral("cbyte"), {1, 1, CByte}},
        {QStringLiteral("int"), {1, 1, Rounding<Floor>}},
        {QStringLiteral("fix"), {1, 1, Rounding<Trunc>}},
        {QStringLiteral("abs"), {1, 1, Abs}},
        {QStringLiteral("sgn"), {1, 1, Sgn}},
        {QStringLiteral("round"), {1, 2, Round}},
        {QStringLiteral("sqr"), {1, 1, Math<Sqrt, 1>}},
        {QStringLiteral("exp"), {1, 1, Math<Exp, 0>}},
        {QStringLiteral("log"), {1, 1, Math<Ln, 2>}},
        {QStringLiteral("sin"), {1, 1, Math<Sine, 0>}},
        {QStringLiteral("cos"), {1, 1, Math<Cosine, 0>}},
        {QStringLiteral("tan"), {1, 1, Math<Tangent, 0>}},
        {QStringLiteral("atn"), {1, 1, Math<ArcTangent, 0>}},
        {QStringLiteral("rnd"), {0, 1, Rnd}},
        {QStringLiteral("isnumeric"), {1, 1, IsNumeric}},
        {QStringLiteral("isarray"), {1, 1, IsArray}},
        {QStringLiteral("isempty"), {1, 1, IsEmpty}},
        {QStringLiteral("isnull"), {1, 1, IsNull}},
        {QStringLiteral("isobject"), {1, 1, IsObject}},
        {QStringLiteral("typename"), {1, 1, TypeName}},
        {QStringLiteral("vartype"), {1, 1, VarType}},
        {QStringLiteral("ubound"), {1, 2, UBound}},
        {QStringLiteral("lbound"), {1, 2, LBound}},
        {QStringLiteral("array"), {0, 1 << 16, ArrayOf}},
        {QStringLiteral("now"), {0, 0, Now}},
        {QStringLiteral("date"), {0, 0, Today}},
        {QStringLiteral("time"), {0, 0, TimeOfDay}},
        {QStringLiteral("timer"), {0, 0, Timer}},
        {QStringLiteral("year"), {1, 1, DatePart<0>}},
        {QStringLiteral("month"), {1, 1, DatePart<1>}},
        {QStringLiteral("day"), {1, 1, DatePart<2>}},
        {QStringLiteral("hour"), {1, 1, DatePart<3>}},
        {QStringLiteral("minute"), {1, 1, DatePart<4>}},
        {QStringLiteral("second"), {1, 1, DatePart<5>}},
        {QStringLiteral("weekday"), {1, 1, DatePart<6>}},
        {QStringLiteral("formatnumber"), {1, 5, FormatNumber}},
        {QStringLiteral("msgbox"), {1, 5, MsgBox}},
        {QStringLiteral("createobject"), {1, 2, CreateObject}},
        {QStringLiteral("scriptengine"), {0, 0, ScriptEngine}},
        {QStringLiteral("scriptenginemajorversion"), {0, 0, ScriptEngineMajorVersion}},
        {QStringLiteral("scriptengineminorversion"), {0, 0, ScriptEngineMinorVersion}},
        {QStringLiteral("scriptenginebuildversion"), {0, 0, ScriptEngineBuildVersion}},
    };
    const auto it = kBuiltins.constFind(strKey);
    return it != kBuiltins.cend() ? &it.value() : nullptr;
}

bool FindConstant(const QString& strKey, CVbsValue* pValue)
{
    static const QHash<QString, CVbsValue> kConstants = {
        {QStringLiteral("vbcrlf"), CVbsValue::String(QStringLiteral("\r\n"))},
        {QStringLiteral("vbnewline"), CVbsValue::String(QStringLiteral("\r\n"))},
        {QStringLiteral("vbcr"), CVbsValue::String(QStringLiteral("\r"))},
        {QStringLiteral("vblf"), CVbsValue::String(QStringLiteral("\n"))},
        {QStringLiteral("vbtab"), CVbsValue::String(QStringLiteral("\t"))},
        {QStringLiteral("vbformfeed"), CVbsValue::String(QStringLiteral("\f"))},
        {QStringLiteral("vbverticaltab"), CVbsValue::String(QStringLiteral("\v"))},
        {QStringLiteral("vbnullstring"), CVbsValue::String(QString())},
        {QStringLiteral("vbnullchar"), CVbsValue::String(QString(QChar(0)))},
        {QStringLiteral("vbokonly"), CVbsValue::Integer(0)},
        {QStringLiteral("vbokcancel"), CVbsValue::Integer(1)},
        {QStringLiteral("vbabortretryignore"), CVbsValue::Integer(2)},
        {QStringLiteral("vbyesnocancel"), CVbsValue::Integer(3)},
        {QStringLiteral("vbyesno"), CVbsValue::Integer(4)},
        {QStringLiteral("vbretrycancel"), CVbsValue::Integer(5)},
        {QStringLiteral("vbcritical"), CVbsValue::Integer(16)},
        {QStringLiteral("vbquestion"), CVbsValue::Integer(32)},
        {QStringLiteral("vbexclamation"), CVbsValue::Integer(48)},
        {QStringLiteral("vbinformation"), CVbsValue::Integer(64)},
        {QStringLiteral("vbdefaultbutton1"), CVbsValue::Integer(0)},
        {QStringLiteral("vbdefaultbutton2"), CVbsValue::Integer(256)},
        {QStringLiteral("vbdefaultbutton3"), CVbsValue::Integer(512)},
        {QStringLiteral("vbdefaultbutton4"), CVbsValue::Integer(768)},
        {QStringLiteral("vbapplicationmodal"), CVbsValue::Integer(0)},
        {QStringLiteral("vbsystemmodal"), CVbsValue::Integer(4096)},
        {QStringLiteral("vbok"), CVbsValue::Integer(1)},
        {QStringLiteral("vbcancel"), CVbsValue::Integer(2)},
        {QStringLiteral("vbabort"), CVbsValue::Integer(3)},
        {QStringLiteral("vbretry"), CVbsValue::Integer(4)},
        {QStringLiteral("vbignore"), CVbsValue::Integer(5)},
        {QStringLiteral("vbyes"), CVbsValue::Integer(6)},
        {QStringLiteral("vbno"), CVbsValue::Integer(7)},
        {QStringLiteral("vbtrue"), CVbsValue::Integer(-1)},
        {QStringLiteral("vbfalse"), CVbsValue::Integer(0)},
        {QStringLiteral("vbusedefault"), CVbsValue::Integer(-2)},
        {QStringLiteral("vbbinarycompare"), CVbsValue::Integer(0)},
        {QStringLiteral("vbtextcompare"), CVbsValue::Integer(1)},
        {QStringLiteral("vbempty"), CVbsValue::Integer(0)},
        {QStringLiteral("vbnull"), CVbsValue::Integer(1)},
        {QStringLiteral("vbinteger"), CVbsValue::Integer(2)},
        {QStringLiteral("vblong"), CVbsValue::Integer(3)},
        {QStringLiteral("vbsingle"), CVbsValue::Integer(4)},
        {QStringLiteral("vbdouble"), CVbsValue::Integer(5)},
        {QStringLiteral("vbcurrency"), CVbsValue::Integer(6)},
        {QStringLiteral("vbdate"), CVbsValue::Integer(7)},
        {QStringLiteral("vbstring"), CVbsValue::Integer(8)},
        {QStringLiteral("vbobject"), CVbsValue::Integer(9)},
        {QStringLiteral("vberror"), CVbsValue::Integer(10)},
        {QStringLiteral("vbboolean"), CVbsValue::Integer(11)},
        {QStringLiteral("vbvariant"), CVbsValue::Integer(12)},
        {QStringLiteral("vbdataobject"), CVbsValue::Integer(13)},
        {QStringLiteral("vbbyte"), CVbsValue::Integer(17)},
        {QStringLiteral("vbarray"), CVbsValue::Integer(8192)},
        {QStringLiteral("vbobjecterror"), CVbsValue::Long(-2147221504)},
    };
    const auto it = kConstants.constFind(strKey);
    if (it == kConstants.cend())
    {
        return false;
    }
    *pValue = it.value();
    return true;
}

} // namespace vbs
