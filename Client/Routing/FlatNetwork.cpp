#include "FlatNetwork.h"

#include "NVXLRoute.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

CFlatNetwork::CFlatNetwork(uint32_t ulMaxPEs, uint32_t ulMaxConnections)
{
    Reserve(ulMaxPEs, ulMaxConnections);
}

CFlatNetwork::~CFlatNetwork()
{
    NVXL_FreePETables(m_pes.data(), static_cast<uint32_t>(m_pes.size()));
}

void CFlatNetwork::Reserve(uint32_t ulPEs, uint32_t ulConnections)
{
    const size_t nOldPEs = m_pes.size();
    if (ulPEs > nOldPEs)
    {
        m_pes.resize(ulPEs);
        for (size_t i = nOldPEs; i < ulPEs; ++i)
        {
            NVXL_InitPE(&m_pes[i]);
        }
    }
    const size_t nOldConnections = m_connections.size();
    if (ulConnections > nOldConnections)
    {
        m_connections.resize(ulConnections);
        for (size_t i = nOldConnections; i < ulConnections; ++i)
        {
            NVXL_InitConnection(&m_connections[i]);
        }
    }
    m_network.pPEs = m_pes.data();
    m_network.pConnections = m_connections.data();
    m_network.ulMaxPEs = static_cast<uint32_t>(m_pes.size());
    m_network.ulMaxConnections = static_cast<uint32_t>(m_connections.size());
}

void PEToRecord(const CPEPrimitive& pe, NVXL_PE& record)
{
    record.ulValid = pe.bDeleted ? 0 : 1;
    record.ulNodeID = static_cast<uint32_t>(pe.iNodeNumber);
    record.wDeviceID = pe.DeviceID;
    record.wVendorID = pe.ManufID;
    record.wShortDestID = pe.ShortDestID;
    record.wLongDestID = pe.LongDestID;
    record.wOrigShortDestID = pe.OrigShortDestID;
    record.wOrigLongDestID = pe.OrigLongDestID;
    record.wVDIDCaps = pe.VDID_Caps;
    record.wNumSecondaryIDs = pe.VDID_NumSecondaryIDs;
    record.wVDIDMode = pe.VDID_Impl;
    record.wNumShortVDIDs = pe.VDID_NumShortIDs;
    record.wNumLongVDIDs = pe.VDID_NumLongIDs;
    std::copy(pe.VDID_ShortIDs.begin(), pe.VDID_ShortIDs.end(), record.wShortVDIDs);
    std::copy(pe.VDID_LongIDs.begin(), pe.VDID_LongIDs.end(), record.wLongVDIDs);
    record.ulUseLongDestID = pe.bLargeTransport ? 1 : 0;
    record.ulTypeFlags = 0;
    for (uint32_t ulBit :
         {kPETypeBridge, kPETypeSwitch, kPETypeMemory, kPETypeProcessor, kPETypeUnknown, kPETypeNull})
    {
        if (pe.uType & ulBit)
        {
            record.ulTypeFlags |= ulBit;
        }
    }
    record.ulNumPorts = static_cast<uint32_t>(std::max(pe.iNumLocalPorts, 0));
    record.ulHasDestID = pe.bUsesDestID ? 1 : 0;
    record.ulPerPortTables = pe.bHasPerPortRoutingTables ? 1 : 0;
    record.uchUser = pe.uchUser;
    for (int i = 0; i < kMaxPorts; ++i)
    {
        const PortInfo& port = pe.Ports[static_cast<size_t>(i)];
        NVXL_PORT& out = record.asPorts[i];
        out.uchMaxWidth = port.InitialWidth;
        out.uchPortWidth = port.CurrentWidth;
        out.uchLane = port.CurrentLane;
        out.uchWidthOverride = port.OverrideWidth;
        out.ulPoweredDown = port.bPoweredDown ? 1 : 0;
        out.ulPortType = static_cast<uint32_t>(port.eType);
        out.ulSpeedMHz = port.uSpeedMHz;
    }
    const QByteArray uniqueID = pe.UniqueID.toLatin1();
    std::strncpy(record.szUniqueID, uniqueID.constData(), sizeof record.szUniqueID - 1);
    record.szUniqueID[sizeof record.szUniqueID - 1] = '\0';
}

void RecordToPE(const NVXL_PE& record, CPEPrimitive& pe)
{
    pe.bDeleted = record.ulValid == 0;
    pe.ErrorNote = QString::fromLatin1(record.szError).replace(QStringLiteral("\r\n"), QStringLiteral("\n"));
    pe.DeviceID = record.wDeviceID;
    pe.ManufID = record.wVendorID;
    pe.ShortDestID = record.wShortDestID;
    pe.LongDestID = record.wLongDestID;
    pe.OrigShortDestID = record.wOrigShortDestID;
    pe.OrigLongDestID = record.wOrigLongDestID;
    pe.VDID_Caps = record.wVDIDCaps;
    pe.VDID_NumSecondaryIDs = record.wNumSecondaryIDs;
    pe.VDID_Impl = record.wVDIDMode;
    pe.VDID_NumShortIDs = record.wNumShortVDIDs;
    pe.VDID_NumLongIDs = record.wNumLongVDIDs;
    std::copy(record.wShortVDIDs, record.wShortVDIDs + 2, pe.VDID_ShortIDs.begin());
    std::copy(record.wLongVDIDs, record.wLongVDIDs + 2, pe.VDID_LongIDs.begin());
    pe.bLargeTransport = record.ulUseLongDestID != 0;
    pe.bHasLongDestID = record.ulUseLongDestID != 0;
    if (record.ulTypeFlags & kPETypeUnknown)
    {
        pe.DeviceID = pe.ManufID = kUnknownDeviceIdentity;
        pe.SetIdentity(kUnknownDeviceIdentity, kUnknownDeviceIdentity, false, false, false, false);
    }
    else if (record.ulTypeFlags & kPETypeNull)
    {
        pe.DeviceID = pe.ManufID = kNullDeviceIdentity;
        pe.SetIdentity(kNullDeviceIdentity, kNullDeviceIdentity, false, false, false, false);
    }
    else
    {
        pe.SetIdentity(record.wVendorID, record.wDeviceID, (record.ulTypeFlags & kPETypeSwitch) != 0,
                       (record.ulTypeFlags & kPETypeProcessor) != 0,
                       (record.ulTypeFlags & kPETypeMemory) != 0, (record.ulTypeFlags & kPETypeBridge) != 0);
    }
    pe.iNumLocalPorts = static_cast<int>(record.ulNumPorts);
    pe.bUsesDestID = record.ulHasDestID != 0;
    pe.bHasPerPortRoutingTables = record.ulPerPortTables != 0;
    pe.uchUser = record.uchUser;
    pe.UniqueID = QString::fromLatin1(record.szUniqueID);
    for (int i = 0; i < kMaxPorts; ++i)
    {
        const NVXL_PORT& port = record.asPorts[i];
        PortInfo& out = pe.Ports[static_cast<size_t>(i)];
        out.InitialWidth = port.uchMaxWidth;
        out.CurrentWidth = port.uchPortWidth;
        out.CurrentLane = port.uchLane;
        out.OverrideWidth = port.uchWidthOverride;
        out.bPoweredDown = port.ulPoweredDown != 0;
        out.eType = port.ulPortType == ePortSerial || port.ulPortType == ePortParallel
                        ? static_cast<int>(port.ulPortType)
                        : ePortUnknown;
        out.uSpeedMHz = port.ulSpeedMHz;
    }
    if (record.ulHasMulticast)
    {
        pe.Multicast.bCapsValid = true;
        pe.Multicast.bSupportsMulticast = record.ulMulticastSupport != 0;
        pe.Multicast.bSupportsSimpleAssociation = record.ulSimpleAssoc != 0;
        pe.Multicast.bSupportsBlockAssociation = record.ulBlockAssoc != 0;
        pe.Multicast.bSupportsPerPortAssociation = record.ulPerPortAssoc != 0;
        pe.Multicast.iMaxAssociationsPerMask = static_cast<int>(record.ulMaxAssociations);
        pe.Multicast.iMaxMasks = static_cast<int>(record.ulMaxMasks);
    }
}

void CFlatNetwork::Flatten(const CPEList& PEs, const CConnectionList& connections, int nContent)
{
    NVXL_FreePETables(m_pes.data(), m_network.ulNumPEs);
    uint32_t ulNumPEs = 0, ulNumConnections = 0;
    for (const auto& pPE : PEs)
    {
        ulNumPEs = std::max(ulNumPEs, static_cast<uint32_t>(std::max(pPE->iNodeNumber, 0)) + 1);
    }
    for (const auto& pConnection : connections)
    {
        ulNumConnections =
            std::max(ulNumConnections, static_cast<uint32_t>(std::max(pConnection->iNodeNumber, 0)) + 1);
    }
    Reserve(ulNumPEs, ulNumConnections);
    for (uint32_t i = 0; i < ulNumPEs; ++i)
    {
        NVXL_InitPE(&m_pes[i]);
        m_pes[i].ulValid = 0;
    }
    for (const auto& pPE : PEs)
    {
        if (pPE->iNodeNumber < 0)
        {
            continue;
        }
        NVXL_PE& record = m_pes[static_cast<size_t>(pPE->iNodeNumber)];
        PEToRecord(*pPE, record);
        if (nContent & eTables)
        {
            for (int t = 0; t < kMaxPorts; ++t)
            {
                const CRoutingTable* pTable = pPE->RoutingTables[static_cast<size_t>(t)].get();
                if (!pTable)
                {
                    continue;
                }
                record.alRouteTables[t] = NVXL_RT_NewTable();
                for (const SRouteEntry& entry : pTable->Entries())
                {
                    const NVXL_RT_ENTRY rtEntry = {entry.DestID, entry.Port, entry.eType, entry.uSpecialType};
                    NVXL_RT_AddEntry(record.alRouteTables[t], &rtEntry);
                }
            }
        }
        if ((nContent & eMulticast) && pPE->Multicast.bCapsValid)
        {
            const CMulticastInfo& info = pPE->Multicast;
            record.ulHasMulticast = 1;
            record.ulMulticastSupport = info.bSupportsMulticast ? 1 : 0;
            record.ulSimpleAssoc = info.bSupportsSimpleAssociation ? 1 : 0;
            record.ulBlockAssoc = info.bSupportsBlockAssociation ? 1 : 0;
            record.ulPerPortAssoc = info.bSupportsPerPortAssociation ? 1 : 0;
            record.ulMulticastEnabled = info.bNeedsRoutes ? 1 : 0;
            record.ulMaxAssociations = static_cast<uint32_t>(info.iMaxAssociationsPerMask);
            record.ulMaxMasks = static_cast<uint32_t>(info.iMaxMasks);
            record.ulNumMulticastGroups = static_cast<uint32_t>(info.GetNumMasks());
            record.pMulticastGroups = static_cast<NVXL_MULTICAST_GROUP*>(
                std::calloc(std::max(1, info.GetNumMasks()), sizeof(NVXL_MULTICAST_GROUP)));
            for (int m = 0; m < info.GetNumMasks(); ++m)
            {
                const SMulticastMask* pMask = info.GetMask(m);
                NVXL_MULTICAST_GROUP& group = record.pMulticastGroups[m];
                group.ulMask = static_cast<uint32_t>(pMask->MaskID);
                group.ulNumDestIDs = static_cast<uint32_t>(pMask->DestIDs.size());
                group.pulDestIDs =
                    static_cast<uint32_t*>(std::calloc(std::max<size_t>(1, pMask->DestIDs.size()), 4));
                std::copy(pMask->DestIDs.begin(), pMask->DestIDs.end(), group.pulDestIDs);
                group.ulNumPorts = static_cast<uint32_t>(pMask->Ports.size());
                group.pulPorts =
                    static_cast<uint32_t*>(std::calloc(std::max<size_t>(1, pMask->Ports.size()), 4));
                std::copy(pMask->Ports.begin(), pMask->Ports.end(), group.pulPorts);
            }
        }
    }
    for (uint32_t i = 0; i < ulNumConnections; ++i)
    {
        NVXL_InitConnection(&m_connections[i]);
    }
    for (const auto& pConnection : connections)
    {
        if (pConnection->iNodeNumber < 0)
        {
            continue;
        }
        NVXL_CONNECTION& record = m_connections[static_cast<size_t>(pConnection->iNodeNumber)];
        record.ulValid = 1;
        record.ulPortA = static_cast<uint32_t>(pConnection->iPE1Port);
        record.ulNodeA = static_cast<uint32_t>(pConnection->iPE1);
        record.ulPortB = static_cast<uint32_t>(pConnection->iPE2Port);
        record.ulNodeB = static_cast<uint32_t>(pConnection->iPE2);
        record.ulTypeA = pConnection->uPE1Type;
        record.ulTypeB = pConnection->uPE2Type;
        record.ulLoopback = pConnection->iPE1 == pConnection->iPE2 ? 1 : 0;
        record.ulState = pConnection->eStatus == eConnectionUp             ? NVXL_CONNECTION_UP
                         : pConnection->eStatus == eConnectionIntermittent ? NVXL_CONNECTION_INTERMITTENT
                                                                           : NVXL_CONNECTION_DOWN;
    }
    m_network.ulNumPEs = ulNumPEs;
    m_network.ulNumConnections = ulNumConnections;
}

void CFlatNetwork::Rebuild(CPEList& PEs, CConnectionList& connections) const
{
    PEs.RemoveAll();
    connections.RemoveAll();
    for (uint32_t i = 0; i < m_network.ulNumPEs; ++i)
    {
        const NVXL_PE& record = m_pes[i];
        auto pPE = std::make_unique<CPEPrimitive>();
        pPE->iNodeNumber = static_cast<int>(i);
        RecordToPE(record, *pPE);
        for (int t = 0; t < kMaxPorts; ++t)
        {
            const int32_t lHandle = record.alRouteTables[t];
            uint32_t ulCount = 0;
            if (lHandle == NVXL_NO_TABLE || !NVXL_RT_GetNumEntries(lHandle, &ulCount) || ulCount == 0)
            {
                continue;
            }
            auto pTable = std::make_unique<CRoutingTable>();
            uint32_t ulPos = 0;
            for (const NVXL_RT_ENTRY* pEntry = NVXL_RT_FirstEntry(lHandle, &ulPos); pEntry;
                 pEntry = NVXL_RT_NextEntry(lHandle, &ulPos))
            {
                pTable->AddEntry(pEntry->wDestID, pEntry->uchPort,
                                 pEntry->ulType <= eRouteSpecial ? pEntry->ulType : 0, pEntry->ulSpecialType,
                                 false);
            }
            pTable->bModified = false;
            pPE->RoutingTables[static_cast<size_t>(t)] = std::move(pTable);
        }
        PEs.AddPrimitive(std::move(pPE));
    }
    for (uint32_t i = 0; i < m_network.ulNumConnections; ++i)
    {
        const NVXL_CONNECTION& record = m_connections[i];
        auto pConnection = std::make_unique<CConnectionPrimitive>();
        pConnection->iNodeNumber = static_cast<int>(i);
        pConnection->bDeleted = record.ulValid == 0;
        pConnection->iPE1Port = static_cast<int>(record.ulPortA);
        pConnection->iPE1 = static_cast<int>(record.ulNodeA);
        pConnection->iPE2Port = static_cast<int>(record.ulPortB);
        pConnection->iPE2 = static_cast<int>(record.ulNodeB);
        pConnection->uPE1Type = record.ulTypeA;
        pConnection->uPE2Type = record.ulTypeB;
        pConnection->SetStatus(record.ulState == NVXL_CONNECTION_DOWN ? QStringLiteral("Down")
                               : record.ulState == NVXL_CONNECTION_INTERMITTENT
                                   ? QStringLiteral("Intermittent")
                                   : QStringLiteral("Up"));
        connections.AddPrimitive(std::move(pConnection));
    }
}
