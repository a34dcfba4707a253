// The VBScript interpreter on any text: parsing must end in a program or a syntax error with a
// position inside the text, never a crash. Texts without loops or large allocations also run, so
// evaluation and its errors see the fuzzer's inputs too.
#include "VBScriptEngine.h"
#include "VbsAst.h"

#include <cstdlib>

namespace
{
class CHost final : public IScriptHostObject
{
public:
    QStringList MethodNames() const override { return {QStringLiteral("Read"), QStringLiteral("Fail")}; }
    bool Call(const QString& strMethod, const std::vector<CAutoValue>& args, CAutoValue* pResult,
              SAutoError* pError) override
    {
        if (strMethod == QLatin1String("Fail"))
        {
            *pError = SAutoError{-5, QStringLiteral("failed")};
            return false;
        }
        *pResult = args.empty() ? CAutoValue::NumberArray(eVtI4, {1, -1}, false) : args[0];
        return true;
    }
};
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t nSize)
{
    const QString strText =
        QString::fromUtf8(reinterpret_cast<const char*>(pData), static_cast<qsizetype>(nSize));

    vbs::SProgram program;
    vbs::SSyntaxError error;
    if (!vbs::ParseProgram(strText, &program, &error))
    {
        const int nLines =
            static_cast<int>(strText.count(QLatin1Char('\n')) + strText.count(QLatin1Char('\r'))) + 1;
        if (error.iLine < 1 || error.iLine > nLines || error.iColumn < 1 || error.strMessage.isEmpty())
        {
            std::abort();
        }
        return 0;
    }

    const QString strLower = strText.toLower();
    for (const char* pszWord :
         {"do", "while", "for", "wend", "loop", "sleep", "space", "string", "redim", "replace"})
    {
        if (strLower.contains(QLatin1String(pszWord)))
        {
            return 0;
        }
    }
    CHost host;
    std::unique_ptr<IScriptEngine> engine = CreateVBScriptEngine();
    engine->AddNamedObject(QStringLiteral("Host"), QStringLiteral("Fuzz.Host"), &host);
    engine->onMessageBox = [](const QString&, int, const QString&) { return 1; };
    SScriptError runError;
    if (!engine->Load(strText, &runError) && runError.strMessage.isEmpty())
    {
        std::abort();
    }
    return 0;
}
