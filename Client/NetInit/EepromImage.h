// Boot EEPROM images: the table of EEPROM parts, the image plug-ins, the making of an image from
// a PE's initialisation script, and the writing and reading of an image over maintenance
// transactions through the device's I2C master.
//
// An image comes about by *playing* the PE's initialisation script against the HAL on the image
// link, which reaches no target, with the transaction log on: every device-specific step of the
// HAL becomes plain maintenance writes in the log, and the plug-in of the device turns those
// writes into the bytes of the image.
#pragma once

#include "EepromPlugin.h"

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

class CNetInitScriptGen;
class CPEPrimitive;
class CRegisterValueList;
class QLibrary;

struct SEepromType
{
    const char* pszManufacturer;
    const char* pszDeviceType;
    uint32_t ulSize;        // bytes
    uint32_t ulPageSize;    // bytes written in one go; 0 when the part has no page buffer
    uint32_t ulAddressSize; // address bytes on the I2C bus
};

// The EEPROM parts, in the order the type list shows them.
const std::vector<SEepromType>& EepromTypes();
// The part of a device type name ("AT24C64", "Generic 8 kBit"; case ignored), or null.
const SEepromType* FindEepromType(const QString& strDeviceType);

// The text of a plug-in's result code.
QString EepromPluginErrorText(int32_t nCode);

// One device a loaded plug-in makes images for.
struct SEepromPluginDevice
{
    uint16_t wVendorOrHigh = 0;
    uint16_t wDeviceOrLow = 0;
    PFN_EEPROM_INITIALIZE pfnInitialize = nullptr;
    PFN_EEPROM_ADD_REG_INIT pfnAddRegInit = nullptr;
    PFN_EEPROM_FINALIZE pfnFinalize = nullptr;
    PFN_EEPROM_GET_BYTES_USED pfnGetBytesUsed = nullptr;
    QString strLibrary; // file the entries come from
};

class CEepromPlugins
{
public:
    CEepromPlugins();
    ~CEepromPlugins();
    CEepromPlugins(const CEepromPlugins&) = delete;
    CEepromPlugins& operator=(const CEepromPlugins&) = delete;

    // Tries every shared object of the folder, in name order. One that fails to load adds
    // "Error loading %s\n\n%s" to *pMessages; one without all six exports is unloaded silently.
    void LoadFolder(const QString& strFolder, QStringList* pMessages);
    // The first device entry with the pair, in the order of loading; null when none.
    const SEepromPluginDevice* Find(uint16_t wVendorOrHigh, uint16_t wDeviceOrLow) const;
    const std::vector<SEepromPluginDevice>& Devices() const { return m_devices; }
    QStringList Libraries() const;

private:
    std::vector<std::unique_ptr<QLibrary>> m_libraries;
    std::vector<SEepromPluginDevice> m_devices;
};

// The folder of the plug-ins: the "EEPROM_DLLs" value of "Directories", or by default
// share/norvanta/EEPROM_DLLs of the installed tree or of the build tree.
QString EepromPluginFolder();
// The plug-ins of that folder, loaded at the first call; load failures go to *pMessages then.
CEepromPlugins& LoadedEepromPlugins(QStringList* pMessages = nullptr);

// An image in the making: the device's pair, the buffer (filled with 0xFF) and its plug-in.
class CEepromImage
{
public:
    CEepromImage(const SEepromPluginDevice& device, uint32_t ulSize);
    int32_t Initialize();
    int32_t AddRegInit(uint32_t ulOffset, uint32_t ulCount, const uint32_t* pulValues);
    // Finalize and GetBytesUsed reach the plug-in only after a successful Initialize.
    void Finalize();
    uint32_t GetBytesUsed() const;
    const QByteArray& Bytes() const { return m_bytes; }

private:
    const SEepromPluginDevice& m_device;
    QByteArray m_bytes;
    bool m_bInitialized = false;
};

// Turns a transaction log into an image of ulSize bytes: every "Maint_write" line becomes an
// AddRegInit. On success the whole buffer is in *pImage and its used length in *pulUsed; on
// failure *pError has the text (and *pCaption "Error" when a plug-in result is behind it).
bool LogToImage(const CEepromPlugins& plugins, const QString& strLogPath, uint16_t wVendor, uint16_t wDevice,
                uint32_t ulSize, QByteArray* pImage, uint32_t* pulUsed, QString* pError,
                QString* pCaption = nullptr);

using EepromProgress = std::function<void(const QString& strText)>;

// What GenerateEepromImage made or why it made nothing.
struct SEepromImageResult
{
    bool bOk = false;
    QByteArray image;     // the used bytes of the image
    QString strError;     // the message of a failure
    QString strErrorsTab; // "%d errors.\r\n" and the list, when the script had errors
};

// The image of a PE's initialisation from the tree of gen (built, with the person's checks): the
// PE is the host, routing tables pre-initialised, no comments; ulSize bytes of EEPROM. Only the
// actions that address the PE itself are played. The script and the log go to temporary files ("SCRIPT...",
// "LOG...") that are removed on every way out; logging is off again and the front end's link is
// the one it had, whatever happens.
SEepromImageResult GenerateEepromImage(CNetInitScriptGen& gen, CPEPrimitive& pe, uint32_t ulSize,
                                       bool bExcludeReadOnly, const EepromProgress& progress = {});

// Where an EEPROM image goes over maintenance transactions.
struct SEepromTarget
{
    uint16_t wVendorID = 0;
    uint16_t wDeviceID = 0;
    uint8_t uchLocalPort = 0;
    uint32_t ulDestID = 0;
    uint8_t uchHopCount = 0;
    uint8_t uchI2CAddress = 0x50;
};

// Writes the image a page at a time (a part without pages 16 bytes at a time), reads it back and
// compares. False with the message in *pError.
bool WriteEepromImage(const SEepromTarget& target, const SEepromType& type, const QByteArray& image,
                      QString* pError, const EepromProgress& progress = {});
// Reads ulBytes from address 0.
bool ReadEepromImage(const SEepromTarget& target, const SEepromType& type, uint32_t ulBytes,
                     QByteArray* pImage, QString* pError, const EepromProgress& progress = {});
