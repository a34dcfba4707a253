#include "EepromMapCommands.h"

#include "EepromImage.h"
#include "EepromTypeSelectDlg.h"
#include "HalWrappers.h"
#include "I2cLink.h"
#include "MainFrameCore.h"
#include "NetworkDocument.h"
#include "NumberText.h"
#include "Preferences.h"
#include "RegisterAccess.h"
#include "SRecord.h"
#include "SafeFile.h"
#include "UserInterface.h"

#include <QBuffer>
#include <QDialogButtonBox>
#include <QFile>
#include <QFileInfo>
#include <QFormLayout>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QVBoxLayout>

#include <memory>

namespace
{
// The EEPROM of a pod connection sits in slot 1 of the layer; slot 0 is the register link's.
constexpr uint32_t kEepromSlot = 1;

const QString kNoMaintenanceAccess =
    QStringLiteral("This device does not support EEPROM access via RapidIO maintenance transactions.");

uint8_t EepromI2CAddress()
{
    return static_cast<uint8_t>(
        GetPreference(QStringLiteral("Preferences"), QStringLiteral("I2C_EEPROMAddress"), 0x50u));
}

// The maintenance path to the PE's EEPROM, or false after the routing message.
bool MaintenanceTarget(CNetworkDocument& map, const CPEPrimitive& pe, SEepromTarget* pTarget)
{
    CRegisterAccess access(map);
    if (!access.PrepareAccess(pe))
    {
        return false;
    }
    *pTarget =
        SEepromTarget{pe.ManufID, pe.DeviceID, 0, access.DestID(), access.HopCount(), EepromI2CAddress()};
    return true;
}

// Without maintenance access the pod carries the EEPROM: the one connected, or one the person
// connects now. False when there is none.
bool PodOrConnect(QWidget* pParent)
{
    if (EepromConnectedByI2c())
    {
        return true;
    }
    if (UI().Ask(kNoMaintenanceAccess + QStringLiteral("  Do you want to connect via I2C?"), QString(),
                 false) != eAnswerYes)
    {
        return false;
    }
    return ConnectEepromI2cCommand(pParent);
}

// The image of a .bin or .sre file; false after the message.
bool LoadImageFile(const QString& strPath, QByteArray* pImage)
{
    const QString strSuffix = QFileInfo(strPath).suffix().toLower();
    if (strSuffix != QLatin1String("bin") && strSuffix != QLatin1String("sre"))
    {
        ShowMessage(QStringLiteral("Unknown file type.  Must be .bin or .sre"));
        return false;
    }
    QFile file(strPath);
    if (!file.open(QIODevice::ReadOnly))
    {
        ShowMessage(QStringLiteral("Unable to open %1\n\n%2").arg(strPath, file.errorString()));
        return false;
    }
    if (strSuffix == QLatin1String("bin"))
    {
        *pImage = file.readAll();
        if (file.error() != QFileDevice::NoError)
        {
            ShowMessage(QStringLiteral("Unable to read EEPROM image file."));
            return false;
        }
        return true;
    }
    std::unique_ptr<uint8_t[]> data;
    size_t nSize = 0;
    if (!ReadSRecordImage(file, &data, &nSize))
    {
        ShowMessage(QStringLiteral("Unable to read EEPROM image file."));
        return false;
    }
    *pImage = QByteArray(reinterpret_cast<const char*>(data.get()), static_cast<qsizetype>(nSize));
    return true;
}

// The whole image written through the pod (each page read back as it goes), then read back
// whole and compared. False after the message.
bool WriteThroughPod(const SEepromType& type, const QByteArray& image)
{
    UI().SetWorkProgress(QStringLiteral("Writing image to EEPROM via I2C Pod..."));
    CI2cLayer& layer = CI2cLayer::Instance();
    if (!layer.WriteEEPROM(kEepromSlot, reinterpret_cast<const uint8_t*>(image.constData()),
                           static_cast<uint32_t>(image.size()), type.ulPageSize, type.ulSize))
    {
        ShowMessage(QStringLiteral("Write failed."));
        return false;
    }
    UI().AppendWorkLog(QStringLiteral("Reading the image back from the EEPROM...\n"));
    QByteArray readBack(image.size(), '\0');
    const int32_t nRead = layer.I2CByteRead(kEepromSlot, static_cast<uint32_t>(image.size()), 0,
                                            reinterpret_cast<uint8_t*>(readBack.data()));
    if (nRead != 0)
    {
        ShowMessage(QStringLiteral("Read failed."));
        return false;
    }
    UI().AppendWorkLog(QStringLiteral("Comparing...\n"));
    if (readBack != image)
    {
        UI().AppendWorkLog(QStringLiteral("Write validation failed\n"));
        ShowMessage(QStringLiteral("Write validation failed."));
        return false;
    }
    return true;
}

// Ends the progress window whatever way the command leaves.
class CWorkScope
{
public:
    explicit CWorkScope(const QString& strTitle) { UI().BeginWork(strTitle, true); }
    ~CWorkScope() { UI().EndWork(QString()); }
    CWorkScope(const CWorkScope&) = delete;
    CWorkScope& operator=(const CWorkScope&) = delete;
};
} // namespace

CEepromConnectDlg::CEepromConnectDlg(QWidget* pParent) : QDialog(pParent)
{
    setWindowTitle(QStringLiteral("Connect to EEPROM via I2C Cable"));
    setMinimumWidth(360);
    auto* pLayout = new QVBoxLayout(this);
    pLayout->addWidget(new QLabel(QStringLiteral("I2C Pod Channel"), this));
    m_pChannels = new QListWidget(this);
    CI2cLayer& layer = CI2cLayer::Instance();
    layer.I2CInit(true);
    for (const SI2cPodChannel& channel : layer.Channels())
    {
        auto* pItem = new QListWidgetItem(
            QStringLiteral("%1\t%2").arg(channel.info.strDescription).arg(channel.info.ulId), m_pChannels);
        pItem->setData(Qt::UserRole, static_cast<uint>(channel.ePod));
        pItem->setData(Qt::UserRole + 1, static_cast<uint>(channel.info.ulId));
    }
    if (m_pChannels->count() == 1)
    {
        m_pChannels->setCurrentRow(0);
    }
    pLayout->addWidget(m_pChannels);
    auto* pForm = new QFormLayout;
    m_pAddress = new QLineEdit(QString::number(EepromI2CAddress(), 16).toUpper() + QLatin1Char('h'), this);
    pForm->addRow(QStringLiteral("EEPROM I2C Address"), m_pAddress);
    pLayout->addLayout(pForm);
    auto* pButtons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
    pButtons->button(QDialogButtonBox::Ok)->setText(QStringLiteral("Connect"));
    connect(pButtons, &QDialogButtonBox::accepted, this, [this] { TakeChoice(); });
    connect(pButtons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    pLayout->addWidget(pButtons);
}

bool CEepromConnectDlg::TakeChoice()
{
    QListWidgetItem* pItem = m_pChannels->currentItem();
    if (!pItem)
    {
        ShowMessage(QStringLiteral("Please select an I2C pod channel."));
        return false;
    }
    uint64_t ullAddress = 0;
    if (!NumberFromText(m_pAddress->text(), &ullAddress))
    {
        ShowMessage(InvalidEntryText());
        return false;
    }
    if (ullAddress > 0x7F)
    {
        ShowMessage(QStringLiteral("Address out of range."));
        return false;
    }
    m_ulPod = pItem->data(Qt::UserRole).toUInt();
    m_ulChannel = pItem->data(Qt::UserRole + 1).toUInt();
    m_wAddress = static_cast<uint16_t>(ullAddress);
    SetPreference(QStringLiteral("Preferences"), QStringLiteral("I2C_EEPROMAddress"),
                  static_cast<uint32_t>(ullAddress));
    accept();
    return true;
}

const SEepromType* EepromTypeOrAsk(QWidget* pParent)
{
    if (const SEepromType* pType = CEepromTypeSelectDlg::DefaultType())
    {
        return pType;
    }
    CEepromTypeSelectDlg select(pParent);
    if (select.exec() != QDialog::Accepted)
    {
        return nullptr;
    }
    return select.Chosen();
}

bool SetEepromTypeCommand(QWidget* pParent)
{
    CEepromTypeSelectDlg select(pParent);
    return select.exec() == QDialog::Accepted && select.Chosen();
}

bool ConnectEepromI2cCommand(QWidget* pParent)
{
    const SEepromType* pType = EepromTypeOrAsk(pParent);
    if (!pType)
    {
        return false;
    }
    CEepromConnectDlg dialog(pParent);
    if (dialog.exec() != QDialog::Accepted)
    {
        return false;
    }
    CI2cLayer& layer = CI2cLayer::Instance();
    layer.I2CClose(kEepromSlot);
    // The layer shows why a channel does not open.
    return layer.I2COpen(kEepromSlot, dialog.Pod(), dialog.Channel(), dialog.I2CAddress(), true,
                         eI2cDeviceNone, pType->ulAddressSize);
}

bool EepromConnectedByI2c()
{
    return CI2cLayer::Instance().IsOpen(kEepromSlot);
}

bool WriteEepromImageCommand(CNetworkDocument& map, CPEPrimitive& pe, QWidget* pParent)
{
    const QString strPath = UI().ChooseFile(
        false, QStringLiteral("Write EEPROM Image"),
        QStringLiteral("Binary File (*.bin)|*.bin|S-Record File (*.sre)|*.sre||"), QStringLiteral(".bin"));
    if (strPath.isEmpty())
    {
        return false;
    }
    QByteArray image;
    {
        const CWorkScope work(QStringLiteral("Working...Please wait."));
        if (!LoadImageFile(strPath, &image))
        {
            return false;
        }
    }
    const SEepromType* pType = EepromTypeOrAsk(pParent);
    if (!pType)
    {
        return false;
    }
    if (image.size() > 0x10000)
    {
        ShowMessage(QStringLiteral("The selected image is too large."));
        return false;
    }
    if (static_cast<uint32_t>(image.size()) > pType->ulSize)
    {
        ShowMessage(QStringLiteral("The selected image is will not fit in the specified EEPROM."));
        return false;
    }
    if (SupportsEEPROM(pe.ManufID, pe.DeviceID))
    {
        SEepromTarget target;
        if (!MaintenanceTarget(map, pe, &target))
        {
            return false;
        }
        const CWorkScope work(QStringLiteral("Writing image to EEPROM..."));
        QString strError;
        if (!WriteEepromImage(target, *pType, image, &strError,
                              [](const QString& strText) { UI().AppendWorkLog(strText); }))
        {
            ShowMessage(strError);
            return false;
        }
        return true;
    }
    if (!PodOrConnect(pParent))
    {
        ShowMessage(kNoMaintenanceAccess);
        return false;
    }
    const CWorkScope work(QStringLiteral("Writing image to EEPROM via I2C Pod..."));
    return WriteThroughPod(*pType, image);
}

bool ReadEepromImageCommand(CNetworkDocument& map, CPEPrimitive& pe, QWidget* pParent)
{
    const SEepromType* pType = EepromTypeOrAsk(pParent);
    if (!pType)
    {
        return false;
    }
    QByteArray image;
    if (SupportsEEPROM(pe.ManufID, pe.DeviceID))
    {
        SEepromTarget target;
        if (!MaintenanceTarget(map, pe, &target))
        {
            return false;
        }
        const CWorkScope work(QStringLiteral("Reading EEPROM..."));
        QString strError;
        if (!ReadEepromImage(target, *pType, pType->ulSize, &image, &strError))
        {
            ShowMessage(strError);
            return false;
        }
    }
    else
    {
        if (!PodOrConnect(pParent))
        {
            ShowMessage(kNoMaintenanceAccess);
            return false;
        }
        const CWorkScope work(QStringLiteral("Reading EEPROM via I2C Pod..."));
        image.resize(static_cast<qsizetype>(pType->ulSize));
        if (CI2cLayer::Instance().I2CByteRead(kEepromSlot, pType->ulSize, 0,
                                              reinterpret_cast<uint8_t*>(image.data())) != 0)
        {
            ShowMessage(QStringLiteral("Read failed."));
            return false;
        }
    }
    const QString strPath = UI().ChooseFile(
        true, QStringLiteral("Read EEPROM Image"),
        QStringLiteral("Binary File (*.bin)|*.bin|S-Record File (*.sre)|*.sre||"), QStringLiteral(".bin"));
    if (strPath.isEmpty())
    {
        return false;
    }
    QByteArray bytes = image;
    if (QFileInfo(strPath).suffix().compare(QLatin1String("sre"), Qt::CaseInsensitive) == 0)
    {
        bytes.clear();
        QBuffer buffer(&bytes);
        buffer.open(QIODevice::WriteOnly);
        WriteSRecordImage(reinterpret_cast<const uint8_t*>(image.constData()),
                          static_cast<size_t>(image.size()), buffer, 0,
                          static_cast<int>(pType->ulAddressSize));
    }
    const CSafeSaveResult saved = SaveFileSafely(strPath, bytes);
    if (!saved.Ok())
    {
        ShowMessage(
            QString::asprintf("Unable to open%s, error %d", qPrintable(strPath), saved.ErrorNumber()));
        return false;
    }
    return true;
}

void InstallEepromCommands(CMainFrameCore& core, QWidget* pParent)
{
    auto pe = [&core](const SCommandContext& context) -> CPEPrimitive*
    {
        CPEPrimitive* pPE = core.Document().pCurrentPEs->GetByNodeNumber(context.iNode);
        return pPE && !pPE->bDeleted ? pPE : nullptr;
    };
    core.SetCommandHandler(eCmdEEPROMSetType,
                           [pParent](const SCommandContext&) { SetEepromTypeCommand(pParent); });
    core.SetCommandHandler(eCmdEEPROMConnectI2C,
                           [pParent](const SCommandContext&) { ConnectEepromI2cCommand(pParent); });
    core.SetCommandHandler(eCmdEEPROMWrite,
                           [&core, pParent, pe](const SCommandContext& context)
                           {
                               if (CPEPrimitive* pPE = pe(context))
                               {
                                   WriteEepromImageCommand(core.Document(), *pPE, pParent);
                               }
                           });
    core.SetCommandHandler(eCmdEEPROMRead,
                           [&core, pParent, pe](const SCommandContext& context)
                           {
                               if (CPEPrimitive* pPE = pe(context))
                               {
                                   ReadEepromImageCommand(core.Document(), *pPE, pParent);
                               }
                           });
}
