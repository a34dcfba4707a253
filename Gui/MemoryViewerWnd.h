// The memory viewer: a window onto up to 4096 bytes of a PE's memory at a 64-bit address, shown as
// a grid of words (1, 2 or 4 bytes, either byte order) with their addresses and an ASCII column. A
// word typed into the grid is written to the target and read back. One window per node.
//
// What a node's "memory" is: for the host PE (the one the connection opened) the server host's
// own memory, through the memory read and write transactions; for any other PE its RapidIO address
// space, by NREAD and NWRITE_R sent to its destination ID, which the network's routing tables
// carry there.
#pragma once

#include <QByteArray>
#include <QDialog>
#include <QPointer>
#include <QString>
#include <QWidget>

#include <cstdint>
#include <functional>

class CMainFrameCore;
class CNetworkDocument;
class QCheckBox;
class QComboBox;
class QLabel;
class QLineEdit;
class QPushButton;
class QSpinBox;
class QTableWidget;

constexpr uint32_t kMaxMemoryViewBytes = 4096;
constexpr uint32_t kMaxMemoryViewColumns = 32;

struct SMemoryViewSettings
{
    uint64_t ullAddress = 0;
    uint32_t ulNumBytes = 256;
    bool bBigEndian = true;
    uint32_t ulWordSize = 4;
    bool bShowAscii = true;
    uint32_t ulNumColumns = 4; // words a row

    // What is wrong with them for a person to read, or an empty text.
    QString Problem() const;
    // The last settings chosen in the set-up dialog, and storing them.
    static SMemoryViewSettings Load();
    void Save() const;
};

// How the viewer reaches the memory it shows: reads and writes of a byte run at an address, each
// returning a client status.
struct SMemoryAccess
{
    std::function<int32_t(uint64_t ullAddress, uint8_t* pbData, uint32_t ulBytes)> read;
    std::function<int32_t(uint64_t ullAddress, const uint8_t* pbData, uint32_t ulBytes)> write;
    QString strWhere; // "DestID 05h" or "server host memory", for the window's texts
};

// The access for a node of the map through the target front end. Returns 0, -10000 for a node the
// map doesn't have, or -28 for a PE with no destination ID that isn't the host.
int32_t NodeMemoryAccess(const CNetworkDocument& document, uint32_t ulNode, uint32_t ulWordSize,
                         SMemoryAccess* pAccess);

// A block of memory as words: the bytes in address order and the settings that cut them up.
class CMemoryImage
{
public:
    explicit CMemoryImage(const SMemoryViewSettings& settings = {});

    const SMemoryViewSettings& Settings() const { return m_settings; }
    QByteArray& Bytes() { return m_bytes; }
    const QByteArray& Bytes() const { return m_bytes; }

    uint32_t WordCount() const;
    uint32_t RowCount() const;
    uint64_t RowAddress(uint32_t ulRow) const;
    // The word at a row and column, or -1 past the end.
    int WordIndex(uint32_t ulRow, uint32_t ulColumn) const;
    uint64_t WordAddress(uint32_t ulWord) const;
    // The word's value in the settings' byte order, and setting it.
    uint32_t WordValue(uint32_t ulWord) const;
    void SetWordValue(uint32_t ulWord, uint32_t ulValue);
    // The bytes of a value in the settings' byte order.
    QByteArray WordBytes(uint32_t ulValue) const;
    // Two hex digits a byte, upper case.
    QString WordText(uint32_t ulWord) const;
    // The row's bytes as characters, a dot for anything not printable.
    QString AsciiText(uint32_t ulRow) const;
    // "00000000 00001000": the two halves of a 64-bit address.
    static QString AddressText(uint64_t ullAddress);

private:
    SMemoryViewSettings m_settings;
    QByteArray m_bytes;
};

class CMemoryViewerWnd : public QWidget
{
    Q_OBJECT

public:
    CMemoryViewerWnd(uint32_t ulNode, SMemoryAccess access, const SMemoryViewSettings& settings,
                     QWidget* pParent = nullptr);
    ~CMemoryViewerWnd() override;

    uint32_t Node() const { return m_ulNode; }
    const CMemoryImage& Image() const { return m_image; }

    // Takes new settings into the controls and reads anew. A client status; -39 for settings that
    // aren't valid (with a message).
    int32_t Apply(const SMemoryViewSettings& settings);
    // Reads the memory again with the settings of the controls. A client status.
    int32_t Refresh();
    // Writes one word and reads it back into the grid. A client status.
    int32_t WriteWord(uint32_t ulWord, uint32_t ulValue);
    // Reaches the memory another way from now on (the node's destination ID changed).
    void SetAccess(SMemoryAccess access);

    QTableWidget* Grid() const { return m_pGrid; }
    QLineEdit* AddressEdit() const { return m_pAddress; }
    QSpinBox* BytesSpin() const { return m_pBytes; }
    QComboBox* WordSizeCombo() const { return m_pWordSize; }
    QComboBox* EndianCombo() const { return m_pEndian; }
    QSpinBox* ColumnsSpin() const { return m_pColumns; }
    QCheckBox* AsciiCheck() const { return m_pAscii; }
    QPushButton* RefreshButton() const { return m_pRefresh; }
    QLabel* StatusLabel() const { return m_pStatus; }

    // The open window of a node, or null.
    static CMemoryViewerWnd* Find(uint32_t ulNode);

private:
    bool SettingsFromControls(SMemoryViewSettings* pSettings);
    void SettingsToControls(const SMemoryViewSettings& settings);
    void Fill();
    void OnCellChanged(int iRow, int iColumn);

    uint32_t m_ulNode;
    SMemoryAccess m_access;
    CMemoryImage m_image;
    bool m_bFilling = false;
    QLineEdit* m_pAddress = nullptr;
    QSpinBox* m_pBytes = nullptr;
    QComboBox* m_pWordSize = nullptr;
    QComboBox* m_pEndian = nullptr;
    QSpinBox* m_pColumns = nullptr;
    QCheckBox* m_pAscii = nullptr;
    QPushButton* m_pRefresh = nullptr;
    QTableWidget* m_pGrid = nullptr;
    QLabel* m_pStatus = nullptr;
};

// "Edit Memory": address, size, word size, byte order, columns and the ASCII column of a new view.
class CMemoryViewerSetupDlg : public QDialog
{
    Q_OBJECT

public:
    CMemoryViewerSetupDlg(const SMemoryViewSettings& settings, int iNode, QWidget* pParent = nullptr);

    // The settings of the fields; false (after a message) when one isn't valid.
    bool Take(SMemoryViewSettings* pSettings);
    SMemoryViewSettings Settings() const { return m_settings; }

    QLineEdit* AddressEdit() const { return m_pAddress; }
    QLineEdit* BytesEdit() const { return m_pBytes; }
    QComboBox* WordSizeCombo() const { return m_pWordSize; }
    QComboBox* EndianCombo() const { return m_pEndian; }
    QSpinBox* ColumnsSpin() const { return m_pColumns; }
    QCheckBox* AsciiCheck() const { return m_pAscii; }

    void accept() override;

private:
    SMemoryViewSettings m_settings;
    QLineEdit* m_pAddress = nullptr;
    QLineEdit* m_pBytes = nullptr;
    QComboBox* m_pWordSize = nullptr;
    QComboBox* m_pEndian = nullptr;
    QSpinBox* m_pColumns = nullptr;
    QCheckBox* m_pAscii = nullptr;
};

// Opens (or raises and re-reads) the viewer of a node. Client statuses: 0, -10000 for a node the
// map doesn't have, -39 for settings that aren't valid, -28 for a PE the viewer can't reach, or
// the status of the first read (the window stays open showing it).
int32_t OpenMemoryViewer(QWidget* pParent, CNetworkDocument& document, uint32_t ulNode, uint64_t ullAddress,
                         uint32_t ulNumBytes, bool bBigEndian, uint32_t ulWordSize, bool bShowAscii,
                         uint32_t ulNumColumns);
// Closes the viewer of a node: 0, or -10000 when none is open for it.
int32_t CloseMemoryViewer(QWidget* pParent, uint32_t ulNode);

// Asks for the settings of a new view of a node; false when the person cancels.
using MemoryViewSettingsChooser = std::function<bool(int iNode, SMemoryViewSettings* pSettings)>;
// Installs "Edit Memory..." of the PE pop-up: the set-up dialog (or the chooser given), then the
// viewer.
void InstallMemoryViewerCommands(CMainFrameCore& core, QWidget* pWindow,
                                 MemoryViewSettingsChooser chooser = nullptr);
