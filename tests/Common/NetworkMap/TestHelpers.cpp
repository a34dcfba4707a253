#include "TestHelpers.h"

#include "Preferences.h"

#include <QFile>

CMessageRecorder::CMessageRecorder()
{
    SetUserInterface(this);
}

CMessageRecorder::~CMessageRecorder()
{
    SetUserInterface(nullptr);
}

void CMessageRecorder::ShowMessage(const QString& strText, const QString&, EMessageKind)
{
    Messages.append(strText);
}

int CMessageRecorder::Ask(const QString& strText, const QString&, bool)
{
    Messages.append(strText);
    return eAnswerYes;
}

CScratchDir::CScratchDir()
{
    SetPreference(QStringLiteral("Directories"), QStringLiteral("ModuleDir"), m_Dir.path());
    SetPreference(QStringLiteral("Directories"), QStringLiteral("BitmapDir"), m_Dir.path());
}

CScratchDir::~CScratchDir()
{
    RemovePreference(QStringLiteral("Directories"), QStringLiteral("ModuleDir"));
    RemovePreference(QStringLiteral("Directories"), QStringLiteral("BitmapDir"));
}

QString CScratchDir::Path(const QString& strName) const
{
    return m_Dir.filePath(strName);
}

QString CScratchDir::Write(const QString& strName, const QByteArray& contents) const
{
    const QString strPath = Path(strName);
    QFile file(strPath);
    if (file.open(QIODevice::WriteOnly))
    {
        file.write(contents);
    }
    return strPath;
}

QByteArray FileBytes(const QString& strPath)
{
    QFile file(strPath);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

QByteArray TestData(const QString& strName)
{
    return FileBytes(QStringLiteral(NV_TEST_DATA_DIR "/") + strName);
}
