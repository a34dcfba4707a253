// "Script Editor": the plain text editor of one script file, as the macro tools open it. "Save and
// Close" writes the file and closes, "Cancel" closes without writing, and "Check For Errors" asks
// the file's script engine to load the text.
#pragma once

#include "ScriptEngine.h"

#include <QDialog>
#include <QString>

#include <functional>
#include <memory>

class QLabel;
class QPlainTextEdit;
class QPushButton;

class CScriptEditorDlg : public QDialog
{
    Q_OBJECT

public:
    explicit CScriptEditorDlg(QWidget* pParent = nullptr);

    // Reads a file into the editor; a file that doesn't exist yet starts empty. False (with the
    // message shown) when the file exists and can't be read.
    bool Load(const QString& strPath);
    const QString& PathName() const { return m_strPath; }
    // The language of a script file by its extension: "VBScript" for .vbs, "JScript" for .js, and
    // empty for any other.
    static QString LanguageOf(const QString& strPath);

    QPlainTextEdit* Editor() const { return m_pEditor; }
    QPushButton* SaveButton() const { return m_pSave; }
    QPushButton* CancelButton() const { return m_pCancel; }
    QPushButton* CheckButton() const { return m_pCheck; }

    // "Save and Close": false (and the window stays) when the file can't be written.
    bool OnSaveAndClose();
    // "Check For Errors": loads the text as it stands in an engine of the file's language and
    // shows the engine's error or that there is none.
    void OnCheckForErrors();

    // Makes the engine a check loads the text in: CreateScriptEngine unless replaced (the macro
    // manager gives its engines, with the automation object).
    std::function<std::unique_ptr<IScriptEngine>(const QString& strLanguage)> createEngine;

private:
    QString m_strPath;
    QLabel* m_pFileLabel = nullptr;
    QPlainTextEdit* m_pEditor = nullptr;
    QPushButton* m_pSave = nullptr;
    QPushButton* m_pCancel = nullptr;
    QPushButton* m_pCheck = nullptr;
};

// Opens the editor on a file and waits until it is closed; true when the file was saved. A check
// for errors uses createEngine when given.
bool EditScriptFile(QWidget* pParent, const QString& strPath,
                    std::function<std::unique_ptr<IScriptEngine>(const QString&)> createEngine = {});
