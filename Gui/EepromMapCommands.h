// The map window's EEPROM commands: the EEPROM part, the connection to an EEPROM through an I2C
// pod, and the loading of an image into a PE's boot EEPROM and its reading back to a file.
//
// An image goes over RapidIO maintenance transactions through the device's own I2C master when
// the HAL says the device has one; otherwise through the pod connected to the EEPROM (slot 1 of
// the I2C layer), which the person is offered to connect when there is none yet.
#pragma once

#include <QDialog>

#include <cstdint>

class CMainFrameCore;
class CNetworkDocument;
class CPEPrimitive;
class QLineEdit;
class QListWidget;
struct SEepromType;

// The pod channel and the I2C address of an EEPROM; the address is kept as "I2C_EEPROMAddress".
class CEepromConnectDlg : public QDialog
{
    Q_OBJECT

public:
    explicit CEepromConnectDlg(QWidget* pParent = nullptr);

    QListWidget* ChannelList() const { return m_pChannels; }
    QLineEdit* Address() const { return m_pAddress; }
    // "Connect": with a channel chosen and a 7-bit address keeps the choice and accepts; else
    // says what is missing and stays open.
    bool TakeChoice();
    uint32_t Pod() const { return m_ulPod; }
    uint32_t Channel() const { return m_ulChannel; }
    uint16_t I2CAddress() const { return m_wAddress; }

private:
    QListWidget* m_pChannels = nullptr;
    QLineEdit* m_pAddress = nullptr;
    uint32_t m_ulPod = 0;
    uint32_t m_ulChannel = 0;
    uint16_t m_wAddress = 0;
};

// The EEPROM part kept in the preferences, or else the person's choice (kept from then on); null
// when the person gives none.
const SEepromType* EepromTypeOrAsk(QWidget* pParent);

// "Set EEPROM Device Type...": the table of parts; true when a part was chosen.
bool SetEepromTypeCommand(QWidget* pParent);
// "Connect to EEPROM via I2C Cable...": opens slot 1 of the I2C layer on the chosen pod channel
// and address, with the address size of the EEPROM part. True when connected.
bool ConnectEepromI2cCommand(QWidget* pParent);
// Whether an EEPROM is connected through an I2C pod.
bool EepromConnectedByI2c();
// "Write EEPROM Image...": a .bin or .sre file into the PE's EEPROM, written, read back and
// compared. True when the image is in the EEPROM.
bool WriteEepromImageCommand(CNetworkDocument& map, CPEPrimitive& pe, QWidget* pParent);
// "Read EEPROM Image...": the whole EEPROM part into a .bin or .sre file. True when saved.
bool ReadEepromImageCommand(CNetworkDocument& map, CPEPrimitive& pe, QWidget* pParent);

void InstallEepromCommands(CMainFrameCore& core, QWidget* pParent);
