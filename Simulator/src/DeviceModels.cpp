// The device models a topology can name with model=NAME: the generic standard RapidIO device
// and one model per device family the client's HAL knows (src/models/, one file per family).
// Each entry says what the part is when the topology does not say otherwise: kind, identity,
// ports, lanes and route table form.
#include "models/Amc460.h"
#include "models/Idt70K2000.h"
#include "models/IdtGen1.h"
#include "models/IdtGen2.h"
#include "models/Pmc6352.h"
#include "models/Tsi500.h"
#include "models/Tsi721.h"
#include "models/TsiSwitch.h"
#include "models/Vendor1Device8.h"
#include "models/Vendor2.h"
#include "models/Vendor30.h"
#include "nvsim/Device.h"
#include "nvsim/StdDevice.h"

#include <array>

namespace nvsim
{
namespace
{
using CreateFn = std::unique_ptr<CSimDevice> (*)(const std::string& strName, const SDeviceConfig& config);

enum class EKind
{
    Any,
    Switch,
    Endpoint
};

struct SModel
{
    const char* pszName;
    CreateFn pfnCreate;
    EKind eKind;
    uint16_t wVendorId; // 0 with wDeviceId 0: keep the topology's (generic)
    uint16_t wDeviceId;
    uint8_t uchPorts; // 0: keep the topology's
    uint8_t uchWidth; // 0: keep the topology's
    // Switch settings the part has: route table forms, table size, per-port tables, multicast.
    ERouteForm eRouteForm = ERouteForm::Standard;
    uint16_t wRouteLimit = 0xFF;
    bool bPerPort = false;
    uint16_t wMulticastMasks = 0; // 0: no standard multicast registers
};

template <typename T>
std::unique_ptr<CSimDevice> Make(const std::string& strName, const SDeviceConfig& config)
{
    return std::make_unique<T>(strName, config);
}

// IDT: vendor 0x0038 (the Linux kernel's include/linux/rio_ids.h, RIO_VID_IDT); Tundra's Tsi
// parts: vendor 0x000D (RIO_VID_TUNDRA); device IDs from the same file where it lists them.
constexpr uint16_t kIdt = 0x0038;
constexpr uint16_t kTundra = 0x000D;

// The Gen2 switches have the standard multicast registers and 40 masks (CPS1848.h,
// CPS_MAX_MC_MASK) and both route table forms (the Linux driver clears tables through the
// extended form).
SModel Gen2(const char* pszName, uint16_t wDevice, uint8_t uchPorts)
{
    return {pszName,
            &Make<models::CIdtGen2Switch>,
            EKind::Switch,
            kIdt,
            wDevice,
            uchPorts,
            4,
            ERouteForm::Both,
            0xFF,
            true,
            40};
}

SModel Gen1(const char* pszName, uint16_t wDevice)
{
    return {pszName,
            &Make<models::CIdtGen1Switch>,
            EKind::Switch,
            kIdt,
            wDevice,
            models::CIdtGen1Switch::PortCountAtReset(wDevice),
            4,
            ERouteForm::Both,
            0xFF,
            true};
}

// Tsi56x/57x: 16 ports on the Tsi568 and Tsi578, 8 on the Tsi564 and Tsi574 (IDT's product
// briefs); the port counts of the Tsi575, Tsi576 and Tsi577 could not be confirmed and are
// taken as 16, the most the family's registers address.
SModel Tsi(const char* pszName, uint16_t wDevice, uint8_t uchPorts)
{
    return {pszName,
            &Make<models::CTsiSwitch>,
            EKind::Switch,
            kTundra,
            wDevice,
            uchPorts,
            4,
            ERouteForm::Standard,
            models::CTsiSwitch::kTableEntries - 1,
            true};
}

const std::array kModels = {
    SModel{"generic", &Make<CStdDevice>, EKind::Any, 0, 0, 0, 0},
    Gen2("cps1848", 0x0374, 18),
    Gen2("cps1432", 0x0375, 16),
    Gen2("vps1616", 0x0377, 16),
    Gen2("sps1616", 0x0378, 16),
    Gen2("cps1616", 0x0379, 16),
    Gen1("pps", 0x035A),
    Gen1("cps16", 0x035B),
    Gen1("cps8", 0x035C),
    Gen1("cps12", 0x035D),
    Gen1("cps10q", 0x035E),
    Gen1("cps6q", 0x035F),
    SModel{"70k2000", &Make<models::CIdt70K2000Switch>, EKind::Switch, kIdt, 0x0310,
           models::CIdt70K2000Switch::kPorts, 4, ERouteForm::Both},
    SModel{"tsi500", &Make<models::CTsi500Switch>, EKind::Switch, kTundra, 0x0500,
           models::CTsi500Switch::kPorts, 1, ERouteForm::Standard, 0xFF, true},
    Tsi("tsi564", 0x0564, 8),
    Tsi("tsi568", 0x0568, 16),
    Tsi("tsi574", 0x0574, 8),
    Tsi("tsi575", 0x0575, 16),
    Tsi("tsi576", 0x0576, 16),
    Tsi("tsi577", 0x0577, 16),
    Tsi("tsi578", 0x0578, 16),
    SModel{"pmc6352", &Make<models::CPmc6352Switch>, EKind::Switch, 0x003B, 0x6352,
           models::CPmc6352Switch::kPorts, 4, ERouteForm::Standard, models::CPmc6352Switch::kTableBytes - 1,
           true},
    SModel{"v1dev8", &Make<models::CVendor1Device8Switch>, EKind::Switch, 0x0001, 0x0008,
           models::CVendor1Device8Switch::kPorts, 4, ERouteForm::Standard, 0xFF, true},
    // Vendor 1 device 6 is answered by the HAL without a single access: the model is the
    // standard device with its identity, of the kind the topology gives.
    SModel{"v1dev6", &Make<CStdDevice>, EKind::Any, 0x0001, 0x0006, 0, 0},
    SModel{"v30dev0", &Make<models::CVendor30Endpoint>, EKind::Endpoint, 0x0030, 0x0000, 1, 0},
    SModel{"v30dev96", &Make<models::CVendor30Endpoint>, EKind::Endpoint, 0x0030, 0x0096, 1, 0},
    SModel{"v2dev3", &Make<models::CVendor2Endpoint>, EKind::Endpoint, 0x0002, 0x0003, 1, 0},
    SModel{"v2dev12", &Make<models::CVendor2Endpoint>, EKind::Endpoint, 0x0002, 0x0012, 1, 0},
    SModel{"amc460", &Make<models::CAmc460Endpoint>, EKind::Endpoint, 0x0064, 0x0100, 1, 0},
    SModel{"tsi721", &Make<models::CTsi721Endpoint>, EKind::Endpoint, kIdt, 0x80AB, 1, 4},
};

const SModel* FindModel(const std::string& strName)
{
    for (const SModel& model : kModels)
    {
        if (strName == model.pszName)
            return &model;
    }
    return nullptr;
}
} // namespace

std::unique_ptr<CSimDevice> CreateDevice(const std::string& strName, const SDeviceConfig& config,
                                         std::string* pError)
{
    const SModel* pModel = FindModel(config.strModel);
    if (pModel)
        return pModel->pfnCreate(strName, config);
    if (pError)
        *pError = "unknown device model '" + config.strModel + "'";
    return nullptr;
}

bool ApplyModelDefaults(SDeviceConfig* pConfig, const std::function<bool(const std::string&)>& fnGiven,
                        std::string* pError)
{
    SDeviceConfig& c = *pConfig;
    const SModel* pModel = FindModel(c.strModel);
    if (!pModel)
    {
        if (pError)
            *pError = "unknown device model '" + c.strModel + "'";
        return false;
    }
    if ((pModel->eKind == EKind::Switch && !c.bSwitch) || (pModel->eKind == EKind::Endpoint && c.bSwitch))
    {
        if (pError)
            *pError = "model '" + c.strModel + "' is " +
                      (pModel->eKind == EKind::Switch ? "a switch" : "an endpoint");
        return false;
    }
    if (pModel->wVendorId == 0 && pModel->wDeviceId == 0)
        return true;
    if (!fnGiven("vendor"))
        c.wVendorId = pModel->wVendorId;
    if (!fnGiven("device"))
        c.wDeviceId = pModel->wDeviceId;
    if (pModel->uchPorts && !fnGiven("ports"))
        c.uchPortCount = pModel->uchPorts;
    if (pModel->uchWidth && !fnGiven("width"))
        c.uchMaxWidth = pModel->uchWidth;
    if (pModel->eKind != EKind::Switch)
        return true;
    if (!fnGiven("routetable"))
        c.eRouteForm = pModel->eRouteForm;
    if (!fnGiven("routelimit"))
        c.wRouteLimit = pModel->wRouteLimit;
    if (pModel->bPerPort)
        c.bPerPortRouting = true;
    if (pModel->wMulticastMasks && !fnGiven("multicast"))
    {
        c.bMulticast = true;
        if (!fnGiven("masks"))
            c.wMulticastMasks = pModel->wMulticastMasks;
    }
    return true;
}

std::vector<std::string> ModelNames()
{
    std::vector<std::string> names;
    for (const SModel& model : kModels)
        names.push_back(model.pszName);
    return names;
}
} // namespace nvsim
