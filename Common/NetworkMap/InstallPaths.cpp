#include "InstallPaths.h"

#include "Preferences.h"

#include <QDir>
#include <QFileInfo>

namespace
{
QString WithSeparator(QString strDirectory)
{
    if (!strDirectory.isEmpty() && !strDirectory.endsWith(QLatin1Char('/')))
    {
        strDirectory += QLatin1Char('/');
    }
    return strDirectory;
}

// share/norvanta/<strName>/ of the installed tree (beside the program's bin directory), or of
// the build tree when the program runs from there.
QString DefaultDirectory(const QString& strName)
{
    const QFileInfo program(QStringLiteral("/proc/self/exe"));
    const QString strProgramDir = QFileInfo(program.symLinkTarget()).absolutePath();
    const QString strInstalled =
        QDir::cleanPath(strProgramDir + QStringLiteral("/../share/norvanta/") + strName);
    if (QFileInfo(strInstalled).isDir())
    {
        return WithSeparator(strInstalled);
    }
    return WithSeparator(QStringLiteral(NV_BUILD_SHARE_DIR "/") + strName);
}

QString Directory(const char* pszKey, const QString& strName)
{
    const QString strSet =
        GetPreference(QStringLiteral("Directories"), QString::fromLatin1(pszKey), QString());
    return strSet.isEmpty() ? DefaultDirectory(strName) : WithSeparator(strSet);
}
} // namespace

QString ModuleDirectory()
{
    return Directory("ModuleDir", QStringLiteral("Modules"));
}

QString BitmapDirectory()
{
    return Directory("BitmapDir", QStringLiteral("Bitmaps"));
}

QString CustomGUIDirectory()
{
    return Directory("CustomGUI", QStringLiteral("CustomGUI"));
}
