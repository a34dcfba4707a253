#include "Preferences.h"

#include "UserInterface.h"

#include <QHash>
#include <QSettings>
#include <memory>

namespace
{
const char* const kOrganisation = "Halvorn";
const char* const kApplication = "Norvanta4";

// One open store per scope for the whole run: values are read on hot paths (the transport size
// is read for every transaction), and an open QSettings answers from memory.
QSettings& Store(bool bPerUser)
{
    static std::unique_ptr<QSettings> pUser;
    static std::unique_ptr<QSettings> pMachine;
    std::unique_ptr<QSettings>& pStore = bPerUser ? pUser : pMachine;
    if (!pStore)
    {
        pStore = std::make_unique<QSettings>(bPerUser ? QSettings::UserScope : QSettings::SystemScope,
                                             kOrganisation, kApplication);
    }
    return *pStore;
}

QString KeyPath(const QString& strSection, const QString& strKey)
{
    return strSection + QLatin1Char('/') + strKey;
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
    QSettings& store = Store(bPerUser);
    ++g_ulGeneration;
    store.setValue(KeyPath(strSection, strKey), static_cast<qulonglong>(ulValue));
    store.sync();
    if (store.status() != QSettings::NoError || !store.isWritable())
    {
        ShowMessage(QString::asprintf("Unable to create %s/%s\n", bPerUser ? "HKCU" : "HKLM",
                                      KeyPath(strSection, strKey).toLocal8Bit().constData()));
        return false;
    }
    return true;
}

bool SetPreference(const QString& strSection, const QString& strKey, const QString& strValue, bool bPerUser)
{
    QSettings& store = Store(bPerUser);
    ++g_ulGeneration;
    store.setValue(KeyPath(strSection, strKey), strValue);
    store.sync();
    return store.status() == QSettings::NoError && store.isWritable();
}

void RemovePreference(const QString& strSection, const QString& strKey, bool bPerUser)
{
    QSettings& store = Store(bPerUser);
    ++g_ulGeneration;
    store.remove(KeyPath(strSection, strKey));
    store.sync();
}

QString GetProductPreference(const QString& strProduct, const QString& strSection, const QString& strKey,
                             const QString& strDefault)
{
    QSettings store(QSettings::SystemScope, kOrganisation, strProduct);
    const QVariant value = store.value(KeyPath(strSection, strKey));
    if (!value.isValid() || value.toString().toUtf8().size() > kMaxPreferenceString)
    {
        return strDefault;
    }
    return value.toString();
}

void SyncPreferences()
{
    Store(true).sync();
}
