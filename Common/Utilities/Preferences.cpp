#include "Preferences.h"

#include "UserInterface.h"

#include <QFileDevice>
#include <QHash>
#include <QSettings>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>

namespace
{
const char* const kOrganisation = "Halvorn";
const char* const kApplication = "Norvanta4";

// ---------------------------------------------------------------------------------------------
// The store's file. QSettings writes its file aside and renames it over the old one, but its
// own INI writer goes through a buffered QSaveFile whose commit does not see a flush that
// failed: on a full disk it renames an empty file over the settings and reports no error. So the
// store uses a format of its own, the same INI text, whose writer flushes, syncs and measures the
// new file itself and answers false on any failure; QSettings then drops the new file, keeps the
// old one and sets its status to AccessError.

// Keys and section names: letters, digits and "_-." stand as they are, a section separator
// inside a key is a backslash, anything else is %XX of its UTF-8 bytes.
QByteArray EscapeIniKey(const QString& strKey)
{
    QByteArray out;
    for (const char ch : strKey.toUtf8())
    {
        const auto uch = static_cast<unsigned char>(ch);
        if ((uch >= 'a' && uch <= 'z') || (uch >= 'A' && uch <= 'Z') || (uch >= '0' && uch <= '9') ||
            ch == '_' || ch == '-' || ch == '.')
        {
            out += ch;
        }
        else if (ch == '/')
        {
            out += '\\';
        }
        else
        {
            out += '%';
            out += QByteArray::number(uch, 16).rightJustified(2, '0').toUpper();
        }
    }
    return out;
}

int HexValue(char ch)
{
    if (ch >= '0' && ch <= '9')
    {
        return ch - '0';
    }
    if (ch >= 'a' && ch <= 'f')
    {
        return ch - 'a' + 10;
    }
    if (ch >= 'A' && ch <= 'F')
    {
        return ch - 'A' + 10;
    }
    return -1;
}

// Also reads the %UXXXX form that older files may hold for characters beyond Latin-1.
QString UnescapeIniKey(const QByteArray& key)
{
    QByteArray bytes;
    QString strOut;
    for (qsizetype i = 0; i < key.size(); ++i)
    {
        const char ch = key[i];
        if (ch == '%' && i + 5 < key.size() && key[i + 1] == 'U')
        {
            int iCode = 0;
            bool bOk = true;
            for (int j = 2; j < 6; ++j)
            {
                const int iDigit = HexValue(key[i + j]);
                bOk = bOk && iDigit >= 0;
                iCode = iCode * 16 + (iDigit < 0 ? 0 : iDigit);
            }
            if (bOk)
            {
                strOut += QString::fromUtf8(bytes);
                bytes.clear();
                strOut += QChar(static_cast<char16_t>(iCode));
                i += 5;
                continue;
            }
        }
        if (ch == '%' && i + 2 < key.size() && HexValue(key[i + 1]) >= 0 && HexValue(key[i + 2]) >= 0)
        {
            bytes += static_cast<char>(HexValue(key[i + 1]) * 16 + HexValue(key[i + 2]));
            i += 2;
        }
        else
        {
            bytes += ch == '\\' ? '/' : ch;
        }
    }
    return strOut + QString::fromUtf8(bytes);
}

// Values: backslash escapes for the backslash, the quote and line breaks; a value with a comma
// or semicolon or with blanks at an end stands in quotes; a leading "@" doubles.
QByteArray EscapeIniValue(const QString& strValue)
{
    const QByteArray value = strValue.toUtf8();
    QByteArray out;
    if (value.startsWith('@'))
    {
        out += '@';
    }
    for (const char ch : value)
    {
        switch (ch)
        {
        case '\\':
            out += "\\\\";
            break;
        case '"':
            out += "\\\"";
            break;
        case '\n':
            out += "\\n";
            break;
        case '\r':
            out += "\\r";
            break;
        case '\t':
            out += "\\t";
            break;
        default:
            out += ch;
            break;
        }
    }
    const bool bQuote = value.contains(',') || value.contains(';') ||
                        (!value.isEmpty() && (value.front() == ' ' || value.back() == ' '));
    return bQuote ? '"' + out + '"' : out;
}

QString UnescapeIniValue(const QByteArray& value)
{
    QByteArray out;
    bool bQuoted = false;
    for (qsizetype i = 0; i < value.size(); ++i)
    {
        const char ch = value[i];
        if (ch == '"')
        {
            bQuoted = !bQuoted;
        }
        else if (ch == ';' && !bQuoted)
        {
            break; // a comment to the end of the line
        }
        else if (ch == '\\' && i + 1 < value.size())
        {
            const char next = value[++i];
            out += next == 'n' ? '\n' : next == 'r' ? '\r' : next == 't' ? '\t' : next;
        }
        else
        {
            out += ch;
        }
    }
    if (out.startsWith("@@"))
    {
        out.remove(0, 1);
    }
    return QString::fromUtf8(out);
}

bool ReadStoreFile(QIODevice& device, QSettings::SettingsMap& map)
{
    QString strSection;
    while (!device.atEnd())
    {
        const QByteArray line = device.readLine().trimmed();
        if (line.isEmpty() || line.startsWith(';') || line.startsWith('#'))
        {
            continue;
        }
        if (line.startsWith('[') && line.endsWith(']'))
        {
            strSection = UnescapeIniKey(line.mid(1, line.size() - 2).trimmed());
            if (strSection.compare(QLatin1String("General"), Qt::CaseInsensitive) == 0)
            {
                strSection.clear();
            }
            continue;
        }
        const qsizetype iEquals = line.indexOf('=');
        if (iEquals <= 0)
        {
            continue;
        }
        const QString strKey = UnescapeIniKey(line.left(iEquals).trimmed());
        map.insert(strSection.isEmpty() ? strKey : strSection + QLatin1Char('/') + strKey,
                   UnescapeIniValue(line.mid(iEquals + 1).trimmed()));
    }
    return true;
}

bool WriteStoreFile(QIODevice& device, const QSettings::SettingsMap& map)
{
    // The map is sorted, so the keys of one section stand together; keys with no section go
    // first, under no heading.
    QByteArray text;
    QString strSection;
    bool bFirst = true;
    for (auto it = map.constBegin(); it != map.constEnd(); ++it)
    {
        const qsizetype iSlash = it.key().indexOf(QLatin1Char('/'));
        const QString strKeySection = iSlash < 0 ? QString() : it.key().left(iSlash);
        if (bFirst || strKeySection != strSection)
        {
            if (!strKeySection.isEmpty())
            {
                text += (bFirst ? "" : "\n") + ('[' + EscapeIniKey(strKeySection) + "]\n");
            }
            strSection = strKeySection;
            bFirst = false;
        }
        text += EscapeIniKey(it.key().mid(iSlash + 1)) + '=' + EscapeIniValue(it.value().toString()) + '\n';
    }
    if (device.write(text) != text.size())
    {
        return false;
    }
    auto* pFile = qobject_cast<QFileDevice*>(&device);
    if (pFile == nullptr)
    {
        return true;
    }
    struct stat fileStat = {};
    return pFile->flush() && ::fsync(pFile->handle()) == 0 && ::fstat(pFile->handle(), &fileStat) == 0 &&
           fileStat.st_size == static_cast<off_t>(text.size());
}

QSettings::Format StoreFormat()
{
    static const QSettings::Format eFormat =
        QSettings::registerFormat(QStringLiteral("conf"), &ReadStoreFile, &WriteStoreFile);
    return eFormat;
}

// One open store per scope for the whole run: values are read on hot paths (the transport size
// is read for every transaction), and an open QSettings answers from memory.
std::unique_ptr<QSettings>& OpenStore(bool bPerUser)
{
    static std::unique_ptr<QSettings> pUser;
    static std::unique_ptr<QSettings> pMachine;
    return bPerUser ? pUser : pMachine;
}

QSettings& Store(bool bPerUser)
{
    std::unique_ptr<QSettings>& pStore = OpenStore(bPerUser);
    if (!pStore)
    {
        pStore = std::make_unique<QSettings>(StoreFormat(),
                                             bPerUser ? QSettings::UserScope : QSettings::SystemScope,
                                             kOrganisation, kApplication);
    }
    return *pStore;
}

QString KeyPath(const QString& strSection, const QString& strKey)
{
    return strSection + QLatin1Char('/') + strKey;
}

// Opens the store afresh with the values of this run still pending. QSettings keeps a failed
// status for the life of the object, also once its file can be written again.
void RenewStore(bool bPerUser)
{
    std::unique_ptr<QSettings>& pStore = OpenStore(bPerUser);
    QSettings::SettingsMap values;
    for (const QString& strKey : pStore->allKeys())
    {
        values.insert(strKey, pStore->value(strKey));
    }
    pStore.reset();
    QSettings& fresh = Store(bPerUser);
    for (const QString& strKey : fresh.allKeys())
    {
        if (!values.contains(strKey))
        {
            fresh.remove(strKey);
        }
    }
    for (auto it = values.constBegin(); it != values.constEnd(); ++it)
    {
        if (fresh.value(it.key()) != it.value())
        {
            fresh.setValue(it.key(), it.value());
        }
    }
}

// Writes the store's pending changes; false when its file could not be written, which leaves the
// old file as it was. The values of this run stand until the program ends either way, and the
// next write that succeeds takes all of them along.
bool WriteStore(bool bPerUser)
{
    if (Store(bPerUser).status() != QSettings::NoError)
    {
        RenewStore(bPerUser);
    }
    QSettings& store = Store(bPerUser);
    store.sync();
    return store.status() == QSettings::NoError && store.isWritable();
}

QString StoreFailureText(bool bPerUser, const QString& strWhat)
{
    return QStringLiteral("Unable to save %1: the settings file %2 could not be written. The old file is "
                          "untouched, and the change lasts only until the program ends.")
        .arg(strWhat, Store(bPerUser).fileName());
}

uint32_t g_ulGeneration = 0;

QHash<QString, QString>& Overrides()
{
    static QHash<QString, QString> overrides;
    return overrides;
}

// The value of a key: a run-only override first, then the store.
QVariant Lookup(const QString& strSection, const QString& strKey, bool bPerUser)
{
    const QString strPath = KeyPath(strSection, strKey);
    if (!Overrides().isEmpty())
    {
        const auto it = Overrides().constFind(strPath);
        if (it != Overrides().constEnd())
        {
            return *it;
        }
    }
    return Store(bPerUser).value(strPath);
}
} // namespace

void SetPreferenceOverride(const QString& strSection, const QString& strKey, const QString& strValue)
{
    Overrides().insert(KeyPath(strSection, strKey), strValue);
    ++g_ulGeneration;
}

uint32_t PreferenceGeneration()
{
    return g_ulGeneration;
}

void ClearPreferenceOverrides()
{
    Overrides().clear();
    ++g_ulGeneration;
}

uint32_t GetPreference(const QString& strSection, const QString& strKey, uint32_t ulDefault, bool bPerUser)
{
    const QVariant value = Lookup(strSection, strKey, bPerUser);
    if (!value.isValid())
    {
        return ulDefault;
    }
    bool bOk = false;
    const qlonglong llValue = value.toString().toLongLong(&bOk, 0);
    return bOk ? static_cast<uint32_t>(llValue) : ulDefault;
}

QString GetPreference(const QString& strSection, const QString& strKey, const QString& strDefault,
                      bool bPerUser)
{
    const QVariant value = Lookup(strSection, strKey, bPerUser);
    if (!value.isValid())
    {
        return strDefault;
    }
    const QString strValue = value.toString();
    if (strValue.toUtf8().size() > kMaxPreferenceString)
    {
        return strDefault;
    }
    return strValue;
}

QString GetPreference(const QString& strSection, const QString& strKey, const char* pszDefault, bool bPerUser)
{
    return GetPreference(strSection, strKey, QString::fromUtf8(pszDefault), bPerUser);
}

bool SetPreference(const QString& strSection, const QString& strKey, uint32_t ulValue, bool bPerUser)
{
    ++g_ulGeneration;
    Store(bPerUser).setValue(KeyPath(strSection, strKey), static_cast<qulonglong>(ulValue));
    if (!WriteStore(bPerUser))
    {
        ShowMessage(QString::asprintf("Unable to create %s/%s\n", bPerUser ? "HKCU" : "HKLM",
                                      KeyPath(strSection, strKey).toLocal8Bit().constData()));
        return false;
    }
    return true;
}

bool SetPreference(const QString& strSection, const QString& strKey, const QString& strValue, bool bPerUser)
{
    ++g_ulGeneration;
    Store(bPerUser).setValue(KeyPath(strSection, strKey), strValue);
    if (!WriteStore(bPerUser))
    {
        ShowMessage(StoreFailureText(bPerUser, QStringLiteral("the setting ") + KeyPath(strSection, strKey)));
        return false;
    }
    return true;
}

void RemovePreference(const QString& strSection, const QString& strKey, bool bPerUser)
{
    ++g_ulGeneration;
    Store(bPerUser).remove(KeyPath(strSection, strKey));
    if (!WriteStore(bPerUser))
    {
        ShowMessage(StoreFailureText(bPerUser, QStringLiteral("the removal of the setting ") +
                                                   KeyPath(strSection, strKey)));
    }
}

QString GetProductPreference(const QString& strProduct, const QString& strSection, const QString& strKey,
                             const QString& strDefault)
{
    QSettings store(StoreFormat(), QSettings::SystemScope, kOrganisation, strProduct);
    const QVariant value = store.value(KeyPath(strSection, strKey));
    if (!value.isValid() || value.toString().toUtf8().size() > kMaxPreferenceString)
    {
        return strDefault;
    }
    return value.toString();
}

void ReopenPreferences()
{
    OpenStore(true).reset();
    OpenStore(false).reset();
    ++g_ulGeneration;
}

bool SyncPreferences()
{
    if (!WriteStore(true))
    {
        ShowMessage(StoreFailureText(true, QStringLiteral("the settings")));
        return false;
    }
    return true;
}
