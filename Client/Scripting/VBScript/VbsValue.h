// The VBScript Variant: the one value type of the language, with the conversions and operators
// that follow VBScript's coercion rules (the public VBScript language reference).
#pragma once

#include <QString>

#include <cstdint>
#include <memory>
#include <vector>

namespace vbs
{

// The subtype of a Variant, numbered as VarType() gives them.
enum class EVarType : uint16_t
{
    Empty = 0,
    Null = 1,
    Integer = 2, // 16-bit signed
    Long = 3,    // 32-bit signed
    Double = 5,
    Date = 7, // days since 30 December 1899, the fraction the time of day
    String = 8,
    Object = 9,
    Boolean = 11,
    Variant = 12, // the element type of a script's own arrays
    Byte = 17,
    Array = 0x2000,
};

// A run-time error: VBScript's number and description, and where it happened (1-based; 0 until the
// statement or expression that failed is known).
struct CVbsError
{
    int32_t nNumber = 0;
    QString strDescription;
    QString strSource;
    int iLine = 0;
    int iColumn = 0;
};

// VBScript's description of a run-time error number; empty for numbers it has none for.
QString VbsErrorText(int32_t nNumber);
// Throws the run-time error with its standard description, and "strName" behind it (": 'name'")
// when given.
[[noreturn]] void VbsRaise(int32_t nNumber, const QString& strName = QString());

class CVbsObject;
struct CVbsArray;

struct CVbsValue
{
    EVarType type = EVarType::Empty;
    int64_t n = 0; // Integer, Long, Byte, Boolean (-1 True, 0 False)
    double d = 0;  // Double, Date
    QString s;
    std::shared_ptr<CVbsArray> arr;
    std::shared_ptr<CVbsObject> obj; // null for Nothing

    static CVbsValue Null();
    static CVbsValue Integer(int64_t n);
    static CVbsValue Long(int64_t n);
    static CVbsValue Byte(int64_t n);
    static CVbsValue Bool(bool b);
    static CVbsValue Double(double d);
    static CVbsValue Date(double d);
    static CVbsValue String(const QString& s);
    static CVbsValue Object(std::shared_ptr<CVbsObject> obj);
    static CVbsValue Array(std::shared_ptr<CVbsArray> arr);

    bool IsEmpty() const { return type == EVarType::Empty; }
    bool IsNull() const { return type == EVarType::Null; }
    bool IsArray() const { return type == EVarType::Array; }
    bool IsObject() const { return type == EVarType::Object; }
    bool IsString() const { return type == EVarType::String; }
    // Integer, Long, Byte, Double, Date, Boolean
    bool IsNumeric() const;
    // VarType() of the value.
    int VarType() const;
    // TypeName() of the value.
    QString TypeName() const;
};

// An array with one or more dimensions, each from 0 to its upper bound (-1 for an empty dynamic
// array). Elements are kept with the first subscript varying fastest.
struct CVbsArray
{
    std::vector<int32_t> upper;
    std::vector<CVbsValue> items;
    // The element type as VarType() shows it: Variant for the script's own arrays, the host's
    // element type for arrays a host object gave.
    EVarType element = EVarType::Variant;
    // Declared with bounds (Dim a(5)): ReDim and Erase's release refuse it.
    bool bFixed = false;

    // Allocates the given upper bounds (each -1 or more), all elements Empty.
    void Resize(const std::vector<int32_t>& bounds);
    // The element at those subscripts; Subscript out of range when they are not valid.
    CVbsValue& At(const std::vector<int64_t>& subscripts);
    // A deep copy (VBScript arrays are values: assignment copies them).
    std::shared_ptr<CVbsArray> Clone() const;
};

// Arrays may hold arrays up to this depth; storing one deeper is refused (Out of stack space), so
// that copying and freeing them can't exhaust the stack.
constexpr int kMaxArrayNesting = 64;
// Refuses a value that would make an array nest too deep when stored as an element.
void CheckElement(const CVbsValue& value);
// Strings longer than this are refused (Out of string space) rather than exhausting memory.
constexpr qsizetype kMaxStringLength = 16 * 1024 * 1024;

// An object: a host object, Err, WScript. Calls go by name; names are matched without regard to
// case.
struct SVbsArg
{
    CVbsValue value;
    bool bVariable = false; // the argument was a plain variable (passed by reference)
};

class CVbsObject
{
public:
    virtual ~CVbsObject() = default;
    virtual QString TypeName() const = 0;
    // Reads a property or calls a method; throws CVbsError.
    virtual CVbsValue Invoke(const QString& strName, std::vector<SVbsArg>& args) = 0;
    // Assigns a property (obj.Name = value); throws CVbsError.
    virtual void Put(const QString& strName, const CVbsValue& value);
    // The default property's value (Err gives Number); false when the object has none.
    virtual bool DefaultValue(CVbsValue* pValue) const;
};

// Conversions, throwing CVbsError (Type mismatch, Overflow, Invalid use of Null) as VBScript does.
double ToDouble(const CVbsValue& v);
// Rounded half to even and range checked as a Long.
int32_t ToLong(const CVbsValue& v);
int16_t ToInteger(const CVbsValue& v);
uint8_t ToByte(const CVbsValue& v);
bool ToBool(const CVbsValue& v);
QString ToString(const CVbsValue& v);
// An object's default value, or the value itself; Object doesn't support... for objects without
// one, Object variable not set for Nothing.
CVbsValue ToScalar(const CVbsValue& v);

// Text to number the way VBScript reads numeric strings: blanks around, sign, decimals, exponent,
// &H and &O forms.
bool ParseNumber(const QString& str, double* pValue);
// A Double as CStr prints it: up to 15 significant digits, exponent form outside that range.
QString FormatDouble(double d);
// Rounds half to even, as CInt, CLng and the integer operators do.
double RoundHalfEven(double d);

// The operators. Comparisons give True/False or Null; bLiteralLeft/Right mark a side written as a
// literal, which decides how a number compares with a string.
enum class EBinaryOp
{
    Power,
    Multiply,
    Divide,
    IntDivide,
    Mod,
    Add,
    Subtract,
    Concat,
    Equal,
    NotEqual,
    Less,
    Greater,
    LessEqual,
    GreaterEqual,
    Is,
    And,
    Or,
    Xor,
    Eqv,
    Imp,
};
CVbsValue BinaryOp(EBinaryOp op, const CVbsValue& a, const CVbsValue& b, bool bLiteralLeft = false,
                   bool bLiteralRight = false);
CVbsValue Negate(const CVbsValue& v);
CVbsValue Not(const CVbsValue& v);
// The three-way comparison behind = <> < > <= >= and Select Case: -1, 0, 1; nullopt-like 2 for Null.
int Compare(const CVbsValue& a, const CVbsValue& b, bool bLiteralLeft, bool bLiteralRight,
            bool bText = false);

// Dates: the serial number of a local date and time, and back.
double DateSerialNow();
QString FormatDate(double dSerial);

} // namespace vbs
