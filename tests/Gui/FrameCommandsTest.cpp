// Commands of the main window that work on its own state: saving under a typed name, the browser
// keeping what the person opened, checked and picked, and texts of aligned columns.
#include "GuiTestEnvironment.h"

#include "ColumnMessageDlg.h"
#include "MainFrame.h"
#include "NetBrowserDlgBar.h"
#include "NetworkMap.h"
#include "QtUserInterface.h"
#include "RecordingUserInterface.h"
#include "TestSupport.h"

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLabel>
#include <QTimer>
#include <QTreeWidget>

#include <gtest/gtest.h>

namespace
{
QString TempDir(const char* pszName)
{
    const QString strPath = QString::fromStdString(nvtest::ProcessTempDir()) + "/" + pszName;
    QDir().mkpath(strPath);
    return strPath;
}

TEST(FrameCommandsTest, SaveAsGivesATypedNameTheMapExtension)
{
    CMainFrame frame;
    nvtest::CRecordingUserInterface ui;
    nvguitest::AddPE(frame.Core().Document(), 0, 0xFFF0, 0x0001, kPETypeProcessor, 100, 150);
    frame.Core().SetModified();
    const QString strDir = TempDir("save-as");

    ui.texts = {strDir + "/lab"};
    frame.RunCommand(eCmdFileSaveAs);
    EXPECT_TRUE(QFileInfo::exists(strDir + "/lab.nvm"));
    EXPECT_FALSE(QFileInfo::exists(strDir + "/lab"));
    EXPECT_EQ((strDir + "/lab.nvm").toStdString(), frame.Core().Document().PathName.toStdString());
    EXPECT_FALSE(frame.Core().IsModified());
    EXPECT_TRUE(ui.questions.isEmpty());
    // The file is one that File > Open lists: its name matches the filter's pattern.
    EXPECT_EQ(QStringList{"lab.nvm"}, QDir(strDir).entryList({"*.nvm"}, QDir::Files));
    CNetworkDocument reread;
    ASSERT_TRUE(reread.Open(strDir + "/lab.nvm"));
    EXPECT_EQ(1, reread.ActivePEs.GetCount());

    // A name with its own extension is kept as typed.
    ui.texts = {strDir + "/other.nvm"};
    frame.RunCommand(eCmdFileSaveAs);
    EXPECT_TRUE(QFileInfo::exists(strDir + "/other.nvm"));
    EXPECT_FALSE(QFileInfo::exists(strDir + "/other.nvm.nvm"));

    // The file of the completed name is not replaced without asking: No keeps it as it was.
    QFile keep(strDir + "/kept.nvm");
    ASSERT_TRUE(keep.open(QIODevice::WriteOnly));
    keep.write("not a map");
    keep.close();
    frame.Core().SetModified();
    ui.texts = {strDir + "/kept"};
    ui.answers = {eAnswerNo};
    frame.RunCommand(eCmdFileSaveAs);
    EXPECT_EQ(QStringList{"kept.nvm already exists.\nDo you want to replace it?"}, ui.questions);
    EXPECT_EQ("not a map", nvtest::ReadFile((strDir + "/kept.nvm").toStdString()));
    EXPECT_TRUE(frame.Core().IsModified());
    EXPECT_EQ((strDir + "/other.nvm").toStdString(), frame.Core().Document().PathName.toStdString());

    // The desktop's file dialog adds the same extension itself.
    EXPECT_EQ("nvm", CQtUserInterface::DefaultSuffix(CNetworkMap::FileFilter()).toStdString());
    EXPECT_EQ("", CQtUserInterface::DefaultSuffix("All Files|*.*||").toStdString());
}
TEST(FrameCommandsTest, TabbedLinesShowInColumnsThatLineUp)
{
    const QString strText =
        QStringLiteral("Port Type:\t\tSerial RapidIO\nPort State:\t\tOK\nPower Up Port Width:\tx1, x4\n"
                       "Current Port Width:\tx4\nOverride Width:\t\tNo override\nPort Disabled:\t\tNo\n"
                       "Output Port Enabled:\tYes\nError Checking Disabled:\tNo\nEnumeration Boundary:\tNo");
    ASSERT_TRUE(CColumnMessageDlg::HasColumns(strText));
    EXPECT_FALSE(CColumnMessageDlg::HasColumns("Unable to access PE."));
    EXPECT_FALSE(CColumnMessageDlg::HasColumns("One line:\twith a tab\nand one without"));

    // What the desktop shows for such a message is the column window, with the texts as given.
    CQtUserInterface ui;
    bool bSeen = false;
    QTimer::singleShot(
        0,
        [&]
        {
            auto* pDialog = qobject_cast<CColumnMessageDlg*>(QApplication::activeModalWidget());
            ASSERT_NE(nullptr, pDialog);
            bSeen = true;
            EXPECT_EQ("Link Status - Node 2, Port 3", pDialog->windowTitle().toStdString());
            const QList<QLabel*>& names = pDialog->Names();
            const QList<QLabel*>& values = pDialog->Values();
            ASSERT_EQ(9, names.size());
            ASSERT_EQ(9, values.size());
            EXPECT_EQ("Power Up Port Width:", names[2]->text().toStdString());
            EXPECT_EQ("x1, x4", values[2]->text().toStdString());
            EXPECT_EQ("Error Checking Disabled:", names[7]->text().toStdString());
            // Every value starts at one x, right of the longest name.
            int iNamesRight = 0;
            for (const QLabel* pName : names)
            {
                iNamesRight =
                    std::max(iNamesRight, pName->x() + pName->fontMetrics().horizontalAdvance(pName->text()));
                EXPECT_EQ(names[0]->x(), pName->x());
            }
            for (const QLabel* pValue : values)
            {
                EXPECT_EQ(values[0]->x(), pValue->x()) << pValue->text().toStdString();
                EXPECT_EQ(pValue->sizeHint().width() <= pValue->width(), true);
            }
            EXPECT_GT(values[0]->x(), iNamesRight);
            // Lines are rows: each value sits on its name's line.
            for (int i = 0; i < names.size(); ++i)
            {
                EXPECT_EQ(names[i]->y(), values[i]->y()) << i;
            }
            pDialog->accept();
        });
    ui.ShowMessage(strText, "Link Status - Node 2, Port 3", EMessageKind::Information);
    EXPECT_TRUE(bSeen);
}
} // namespace
