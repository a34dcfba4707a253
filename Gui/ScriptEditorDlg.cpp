#include "ScriptEditorDlg.h"

#include "MacroBindings.h"
#include "SafeFile.h"
#include "UserInterface.h"

#include <QDir>
#include <QFileInfo>
#include <QFontDatabase>
#include <QHBoxLayout>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTextBlock>
#include <QTextCursor>
#include <QVBoxLayout>

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
    // Checks run quietly: what the text's top-level code echoes is dropped, and a top-level loop
    // that never ends is stopped after five seconds.
    createEngine = [](const QString& strLanguage)
    {
        std::unique_ptr<IScriptEngine> pEngine = CreateScriptEngine(strLanguage);
        if (pEngine)
        {
            pEngine->nTimeLimitMs = 5000;
            pEngine->onEcho = [](const QString&) {};
            pEngine->onMessageBox = [](const QString&, int, const QString&) { return 1; };
        }
        return pEngine;
    };
    const int iChar = m_pEditor->fontMetrics().horizontalAdvance(QLatin1Char('0'));
    resize(std::max(640, 90 * iChar), 600);
}

QString CScriptEditorDlg::LanguageOf(const QString& strPath)
{
    return ScriptLanguageOf(strPath);
}

bool CScriptEditorDlg::Load(const QString& strPath)
{
    // A file that doesn't exist yet starts empty and is made by Save and Close.
    QString strText;
    if (QFileInfo::exists(strPath))
    {
        QString strError;
        if (!ReadScriptFile(strPath, &strText, &strError))
        {
            ShowMessage(strError);
            return false;
        }
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
    if (strLanguage.isEmpty())
    {
        ShowMessage(QStringLiteral("Invalid script file type.  Must be '.vbs' or '.js'."));
        return;
    }
    std::unique_ptr<IScriptEngine> pEngine = createEngine ? createEngine(strLanguage) : nullptr;
    if (!pEngine)
    {
        ShowMessage(QStringLiteral("There is no script engine for the language '%1'.").arg(strLanguage));
        return;
    }
    SScriptError error;
    if (!pEngine->Load(m_pEditor->toPlainText(), &error))
    {
        ShowMessage(ScriptErrorText(error));
        if (error.iLine > 0)
        {
            // The cursor goes to the line the engine named.
            QTextCursor cursor(m_pEditor->document()->findBlockByNumber(error.iLine - 1));
            m_pEditor->setTextCursor(cursor);
        }
        return;
    }
    ShowMessage(QStringLiteral("No errors were found."), EMessageKind::Information);
}

bool EditScriptFile(QWidget* pParent, const QString& strPath,
                    std::function<std::unique_ptr<IScriptEngine>(const QString&)> createEngine)
{
    CScriptEditorDlg dialog(pParent);
    if (createEngine)
    {
        dialog.createEngine = std::move(createEngine);
    }
    return dialog.Load(strPath) && dialog.exec() == QDialog::Accepted;
}
