#include "ScriptEditorDlg.h"

#include "SafeFile.h"
#include "UserInterface.h"

#include <QDir>
#include <QFileInfo>
#include <QFontDatabase>
#include <QHBoxLayout>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QVBoxLayout>

#include <cerrno>
#include <cstdio>

CScriptEditorDlg::CScriptEditorDlg(QWidget* pParent) : QDialog(pParent)
{
    setWindowTitle(QStringLiteral("Script Editor"));
    auto* pLayout = new QVBoxLayout(this);
    m_pFileLabel = new QLabel(this);
    m_pFileLabel->setTextInteractionFlags(Qt::TextSelectableByMouse);
    pLayout->addWidget(m_pFileLabel);
    m_pEditor = new QPlainTextEdit(this);
    m_pEditor->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    m_pEditor->setLineWrapMode(QPlainTextEdit::NoWrap);
    m_pEditor->setTabStopDistance(4 * m_pEditor->fontMetrics().horizontalAdvance(QLatin1Char(' ')));
    pLayout->addWidget(m_pEditor, 1);
    auto* pButtons = new QHBoxLayout;
    m_pCheck = new QPushButton(QStringLiteral("Check For Errors"), this);
    m_pSave = new QPushButton(QStringLiteral("Save and Close"), this);
    m_pCancel = new QPushButton(QStringLiteral("Cancel"), this);
    for (QPushButton* pButton : {m_pCheck, m_pSave, m_pCancel})
    {
        pButton->setAutoDefault(false);
    }
    pButtons->addWidget(m_pCheck);
    pButtons->addStretch(1);
    pButtons->addWidget(m_pSave);
    pButtons->addWidget(m_pCancel);
    pLayout->addLayout(pButtons);
    connect(m_pCheck, &QPushButton::clicked, this, &CScriptEditorDlg::OnCheckForErrors);
    connect(m_pSave, &QPushButton::clicked, this, [this] { OnSaveAndClose(); });
    connect(m_pCancel, &QPushButton::clicked, this, &QDialog::reject);
    const int iChar = m_pEditor->fontMetrics().horizontalAdvance(QLatin1Char('0'));
    resize(std::max(640, 90 * iChar), 600);
}

QString CScriptEditorDlg::LanguageOf(const QString& strPath)
{
    const QString strExtension = QFileInfo(strPath).suffix().toLower();
    if (strExtension == QLatin1String("vbs"))
    {
        return QStringLiteral("VBScript");
    }
    if (strExtension == QLatin1String("js"))
    {
        return QStringLiteral("JScript");
    }
    return QString();
}

bool CScriptEditorDlg::Load(const QString& strPath)
{
    QString strText;
    errno = 0;
    FILE* pFile = std::fopen(strPath.toLocal8Bit().constData(), "rb");
    if (!pFile && errno != ENOENT)
    {
        ShowMessage(QStringLiteral("Unable to open script file %1, error %2").arg(strPath).arg(errno));
        return false;
    }
    if (pFile)
    {
        QByteArray bytes;
        char buffer[4096];
        size_t nRead = 0;
        while ((nRead = std::fread(buffer, 1, sizeof(buffer), pFile)) > 0)
        {
            bytes.append(buffer, static_cast<qsizetype>(nRead));
        }
        const int nError = std::ferror(pFile) != 0 ? (errno != 0 ? errno : EIO) : 0;
        std::fclose(pFile);
        if (nError != 0)
        {
            ShowMessage(QStringLiteral("Unable to open script file %1, error %2").arg(strPath).arg(nError));
            return false;
        }
        strText = QString::fromUtf8(bytes);
    }
    m_strPath = strPath;
    m_pEditor->setPlainText(strText);
    m_pEditor->document()->setModified(false);
    m_pFileLabel->setText(QDir::toNativeSeparators(strPath));
    return true;
}

bool CScriptEditorDlg::OnSaveAndClose()
{
    if (m_strPath.isEmpty())
    {
        return false;
    }
    const CSafeSaveResult result = SaveFileSafely(m_strPath, m_pEditor->toPlainText().toUtf8());
    if (!result.Ok())
    {
        // The text stays in the editor, to be saved again once the cause is put right.
        ShowMessage(result.Text());
        return false;
    }
    m_pEditor->document()->setModified(false);
    accept();
    return true;
}

void CScriptEditorDlg::OnCheckForErrors()
{
    const QString strLanguage = LanguageOf(m_strPath);
    ShowMessage(strLanguage.isEmpty()
                    ? QStringLiteral("Invalid script file type.  Must be '.vbs' or '.js'.")
                    : QStringLiteral("Checking %1 files for errors needs the macro script engines, which are "
                                     "not available in this version of Norvanta yet.")
                          .arg(strLanguage),
                EMessageKind::Information);
}

bool EditScriptFile(QWidget* pParent, const QString& strPath)
{
    CScriptEditorDlg dialog(pParent);
    return dialog.Load(strPath) && dialog.exec() == QDialog::Accepted;
}
