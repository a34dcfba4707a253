#include "TransactionReplay.h"

#include "StatusText.h"

#include <QRegularExpression>

namespace
{
bool Hex(const QString& strText, uint32_t* pulValue)
{
    bool bOk = false;
    const qulonglong ullValue = strText.toULongLong(&bOk, 16);
    if (!bOk || ullValue > 0xFFFFFFFFull)
    {
        return false;
    }
    *pulValue = static_cast<uint32_t>(ullValue);
    return true;
}

// One maintenance line of the log, taken apart.
struct SLogLine
{
    bool bWrite = false;
    uint32_t ulDestID = 0;
    uint32_t ulHop = 0;
    uint32_t ulOffset = 0;
    uint32_t ulByteCount = 0;
    std::vector<uint32_t> words;
    QString strOutcome; // what follows "# " before the line end
};

// False when the line is not a maintenance line of the log's form.
bool ParseLogLine(const QStringList& tokens, SLogLine* pLine)
{
    pLine->bWrite = tokens[0] == QLatin1String("Maint_write");
    const int iHash = static_cast<int>(tokens.indexOf(QStringLiteral("#")));
    bool bPriority = false;
    if (tokens.size() < 6 || iHash < 6 || !Hex(tokens[1], &pLine->ulDestID) ||
        (tokens[2].toInt(&bPriority), !bPriority) || !Hex(tokens[3], &pLine->ulHop) ||
        !Hex(tokens[4], &pLine->ulOffset) || !Hex(tokens[5], &pLine->ulByteCount))
    {
        return false;
    }
    // A write's words stand before "# ", a read's behind it, up to the outcome.
    const int iFirst = pLine->bWrite ? 6 : iHash + 1;
    const int iEnd = pLine->bWrite ? iHash : static_cast<int>(tokens.size()) - 1;
    for (int i = iFirst; i < iEnd; ++i)
    {
        uint32_t ulWord = 0;
        if (!Hex(tokens[i], &ulWord))
        {
            return false;
        }
        pLine->words.push_back(ulWord);
    }
    pLine->strOutcome = tokens.mid(iHash + 1).join(QLatin1Char(' '));
    return true;
}
} // namespace

SReplayResult ReplayTransactionLog(const QString& strLog, IScriptAccess& access)
{
    SReplayResult result;
    static const QRegularExpression kBlanks(QStringLiteral("[ \t]+"));
    const QStringList lines = strLog.split(QLatin1Char('\n'));
    for (int iLine = 0; iLine < lines.size() && !result.bFailed; ++iLine)
    {
        const int nNumber = iLine + 1;
        const QString strLine = lines[iLine].trimmed();
        if (strLine.isEmpty())
        {
            continue;
        }
        const QStringList tokens = strLine.split(kBlanks, Qt::SkipEmptyParts);
        if (tokens[0] != QLatin1String("Maint_write") && tokens[0] != QLatin1String("Maint_read"))
        {
            ++result.nSkipped;
            result.lines << QStringLiteral("Line %1: skipped: only maintenance transactions are replayed")
                                .arg(nNumber);
            continue;
        }
        SLogLine line;
        if (!ParseLogLine(tokens, &line))
        {
            ++result.nSkipped;
            result.lines << QStringLiteral("Line %1: skipped: not a line of a transaction log").arg(nNumber);
            continue;
        }
        if (!line.strOutcome.endsWith(QLatin1String("Succeeded")))
        {
            ++result.nSkipped;
            result.lines << QStringLiteral(
                                "Line %1: skipped: the transaction did not succeed when it was logged")
                                .arg(nNumber);
            continue;
        }
        // A read's head holds its true size; a write's head counts 4 bytes a word whatever the size.
        const bool bOneWord = line.words.size() == 1 && (line.bWrite || line.ulByteCount == 4);
        if (!bOneWord || line.ulHop > 0xFF)
        {
            ++result.nSkipped;
            result.lines << QStringLiteral("Line %1: skipped: only single 32-bit words are replayed (the log "
                                           "holds no stride)")
                                .arg(nNumber);
            continue;
        }
        const uint8_t uchHop = static_cast<uint8_t>(line.ulHop);
        if (line.bWrite)
        {
            const int32_t nStatus = access.Write(line.ulDestID, uchHop, line.ulOffset, line.words[0]);
            if (nStatus != 0)
            {
                result.lines
                    << QStringLiteral("Line %1: write failed: %2").arg(nNumber).arg(RioErrorText(nStatus));
                result.bFailed = true;
                continue;
            }
            ++result.nWrites;
            continue;
        }
        uint32_t ulValue = 0;
        const int32_t nStatus = access.Read(line.ulDestID, uchHop, line.ulOffset, &ulValue);
        if (nStatus != 0)
        {
            result.lines
                << QStringLiteral("Line %1: read failed: %2").arg(nNumber).arg(RioErrorText(nStatus));
            result.bFailed = true;
            continue;
        }
        ++result.nReads;
        if (ulValue != line.words[0])
        {
            ++result.nMismatches;
            result.lines << QString::asprintf(
                "Line %d: read of offset %Xh at destID %Xh hop %Xh gave %Xh, the log "
                "has %Xh",
                nNumber, line.ulOffset, line.ulDestID, line.ulHop, ulValue, line.words[0]);
        }
    }
    return result;
}
