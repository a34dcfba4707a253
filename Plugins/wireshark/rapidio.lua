-- RapidIO packet dissector for captures written by norvanta-sim --pcap and the packet trace tool.
--
-- Link-layer type 147 (LINKTYPE_USER0): each record is one RapidIO packet exactly as it crosses a
-- serial link, from the byte that holds the ackID to the last byte of the final CRC or pad, with
-- no control symbols and no pseudo-header. See README.md beside this file.
--
-- Written from the RapidIO Interconnect Specification:
--   Part 6 (LP-Serial physical layer): ackID(6) VC(1) CRF(1) prio(2), the CRC-16 (CCITT,
--     polynomial 0x1021, start 0xFFFF, ackID bits taken as 0), the early CRC after the first 80
--     bytes of a longer packet, a 16-bit zero pad up to a multiple of 32 bits;
--   Part 3 (common transport): tt(2) ftype(4), 8- or 16-bit destination and source IDs;
--   Part 1 (I/O logical): request class (2), write class (5), streaming write (6), maintenance (8),
--     response (13); Part 2 (message passing): doorbell (10), message (11).
-- The address size of classes 2, 5 and 6 is not in the packet: it is the preference
-- rio.address_bits (34 by default; "auto" takes the size with which the data comes out whole
-- double-words and the CRC lies where it should).

local rio = Proto("rio", "RapidIO")

-- Bit operations that work with every Lua a Wireshark may bring (5.1 to 5.4).
local band, bor, bxor, lshift, rshift
do
    local lib = bit32 or bit
    if lib then
        band, bor, bxor, lshift, rshift = lib.band, lib.bor, lib.bxor, lib.lshift, lib.rshift
    else
        local ops = load([[return function(a, b) return a & b end, function(a, b) return a | b end,
            function(a, b) return a ~ b end, function(a, n) return (a << n) & 0xFFFFFFFF end,
            function(a, n) return a >> n end]])
        band, bor, bxor, lshift, rshift = ops()
    end
end

-- Names -------------------------------------------------------------------------------------------

local ftype_names = {
    [2] = "Request Class (NREAD, ATOMIC)",
    [5] = "Write Class (NWRITE, NWRITE_R, ATOMIC)",
    [6] = "Streaming Write Class (SWRITE)",
    [8] = "Maintenance Class",
    [10] = "Doorbell Class",
    [11] = "Message Class",
    [13] = "Response Class",
}
local tt_names = { [0] = "8-bit IDs", [1] = "16-bit IDs", [2] = "32-bit IDs", [3] = "Reserved" }
local prio_names = { [0] = "Low", [1] = "Medium", [2] = "High", [3] = "Highest" }
local ttype_names = {
    [2] = { [4] = "NREAD", [12] = "ATOMIC inc", [13] = "ATOMIC dec", [14] = "ATOMIC set", [15] = "ATOMIC clr" },
    [5] = { [4] = "NWRITE", [5] = "NWRITE_R", [12] = "ATOMIC swap", [13] = "ATOMIC compare-and-swap",
            [14] = "ATOMIC test-and-swap" },
    [8] = { [0] = "Maint Read Request", [1] = "Maint Write Request", [2] = "Maint Read Response",
            [3] = "Maint Write Response", [4] = "Maint Port-Write Request" },
    [13] = { [0] = "Response WITHOUT Data", [1] = "Message Response", [8] = "Response WITH Data" },
}
local status_names = { [0] = "DONE", [3] = "RETRY", [7] = "ERROR" }
local crc_status_names = { [0] = "Bad", [1] = "Good" }
-- Message sizes by ssize (Part 2): 9 to 14 are 8 to 256 bytes.
local msg_sizes = { [9] = 8, [10] = 16, [11] = 32, [12] = 64, [13] = 128, [14] = 256 }

-- Fields ------------------------------------------------------------------------------------------

local f = {
    ackid = ProtoField.uint8("rio.ackid", "AckID", base.DEC, nil, 0xFC),
    vc = ProtoField.uint8("rio.vc", "VC", base.DEC, nil, 0x02),
    crf = ProtoField.uint8("rio.crf", "CRF", base.DEC, nil, 0x01),
    prio = ProtoField.uint8("rio.prio", "Priority", base.DEC, prio_names, 0xC0),
    tt = ProtoField.uint8("rio.tt", "Transport Type", base.DEC, tt_names, 0x30),
    ftype = ProtoField.uint8("rio.ftype", "Format Type", base.DEC, ftype_names, 0x0F),
    destid = ProtoField.uint16("rio.destid", "Destination ID", base.HEX),
    srcid = ProtoField.uint16("rio.srcid", "Source ID", base.HEX),
    ttype = ProtoField.uint8("rio.ttype", "Transaction", base.DEC, nil, 0xF0),
    size = ProtoField.uint8("rio.size", "Size", base.DEC, nil, 0x0F),
    status = ProtoField.uint8("rio.status", "Status", base.DEC, status_names, 0x0F),
    srctid = ProtoField.uint8("rio.srctid", "Source TID", base.HEX),
    targettid = ProtoField.uint8("rio.targettid", "Target TID", base.HEX),
    hopcount = ProtoField.uint8("rio.hopcount", "Hop Count", base.DEC),
    config_offset = ProtoField.uint32("rio.config_offset", "Config Offset (byte)", base.HEX),
    wdptr = ProtoField.uint8("rio.wdptr", "wdptr", base.DEC),
    ext_address = ProtoField.uint32("rio.ext_address", "Extended Address", base.HEX),
    address = ProtoField.uint32("rio.address", "Address (bits 31:0)", base.HEX),
    xamsbs = ProtoField.uint8("rio.xamsbs", "Extended Address MSBs", base.DEC, nil, 0x03),
    full_address = ProtoField.string("rio.full_address", "Full Address"),
    address_bits = ProtoField.uint8("rio.address_bits", "Address Size (bits)", base.DEC),
    info = ProtoField.uint16("rio.info", "Doorbell Info", base.HEX),
    msglen = ProtoField.uint8("rio.msglen", "Message Length", base.DEC, nil, 0xF0),
    letter = ProtoField.uint8("rio.letter", "Letter", base.DEC, nil, 0xC0),
    mbox = ProtoField.uint8("rio.mbox", "Mailbox", base.DEC, nil, 0x30),
    msgseg = ProtoField.uint8("rio.msgseg", "Message Segment / xmbox", base.DEC, nil, 0x0F),
    reserved = ProtoField.bytes("rio.reserved", "Reserved"),
    data = ProtoField.bytes("rio.data", "Data"),
    data_length = ProtoField.uint16("rio.data_length", "Data Length (bytes)", base.DEC),
    early_crc = ProtoField.uint16("rio.early_crc", "Early CRC", base.HEX),
    early_crc_status = ProtoField.uint8("rio.early_crc.status", "Early CRC Status", base.DEC, crc_status_names),
    early_crc_calculated = ProtoField.uint16("rio.early_crc.calculated", "Calculated Early CRC", base.HEX),
    crc = ProtoField.uint16("rio.crc", "CRC", base.HEX),
    crc_status = ProtoField.uint8("rio.crc.status", "CRC Status", base.DEC, crc_status_names),
    crc_calculated = ProtoField.uint16("rio.crc.calculated", "Calculated CRC", base.HEX),
    pad = ProtoField.uint16("rio.pad", "Pad", base.HEX),
}
rio.fields = {}
for _, field in pairs(f) do
    table.insert(rio.fields, field)
end

local e_bad_crc = ProtoExpert.new("rio.crc.bad", "Bad CRC", expert.group.CHECKSUM, expert.severity.ERROR)
local e_bad_early_crc = ProtoExpert.new("rio.early_crc.bad", "Bad early CRC", expert.group.CHECKSUM,
    expert.severity.ERROR)
local e_malformed = ProtoExpert.new("rio.malformed", "Packet too short for its header", expert.group.MALFORMED,
    expert.severity.ERROR)
local e_unknown = ProtoExpert.new("rio.unknown_ftype", "Format type not decoded", expert.group.UNDECODED,
    expert.severity.WARN)
local e_pad = ProtoExpert.new("rio.pad.nonzero", "Pad is not zero", expert.group.PROTOCOL, expert.severity.WARN)
rio.experts = { e_bad_crc, e_bad_early_crc, e_malformed, e_unknown, e_pad }

rio.prefs.address_bits = Pref.enum("address_bits", 34, "Address size of classes 2, 5 and 6",
    { { 1, "34", 34 }, { 2, "50", 50 }, { 3, "66", 66 }, { 4, "auto", 0 } }, false)

-- CRC ---------------------------------------------------------------------------------------------

local crc_table = {}
for i = 0, 255 do
    local c = lshift(i, 8)
    for _ = 1, 8 do
        if band(c, 0x8000) ~= 0 then
            c = band(bxor(lshift(c, 1), 0x1021), 0xFFFF)
        else
            c = band(lshift(c, 1), 0xFFFF)
        end
    end
    crc_table[i] = c
end

-- The CRC of bytes [0, length) of the packet, the ackID bits taken as 0.
local function rio_crc(tvb, length)
    local crc = 0xFFFF
    for i = 0, length - 1 do
        local byte = tvb(i, 1):uint()
        if i == 0 then
            byte = band(byte, 0x03)
        end
        crc = band(bxor(lshift(crc, 8), crc_table[bxor(rshift(crc, 8), byte)]), 0xFFFF)
    end
    return crc
end

-- Layout ------------------------------------------------------------------------------------------

-- Bytes of the header after the transport IDs, by class; nil for an undecoded class.
local function logical_header_length(ftype, ttype, address_bits)
    local ext = (address_bits == 50 and 2) or (address_bits == 66 and 4) or 0
    if ftype == 2 or ftype == 5 then
        return 2 + ext + 4
    elseif ftype == 6 then
        return ext + 4
    elseif ftype == 8 then
        return 6
    elseif ftype == 10 then
        return 4
    elseif ftype == 11 then
        return 2
    elseif ftype == 13 then
        return 2
    end
    return nil
end

-- Where the CRCs, the pad and the data lie in a record of `length` bytes with a header of
-- `header` bytes. Data is a whole number of double-words, so the pad follows from the header: the
-- packet up to its final CRC is padded to a multiple of 4 bytes. An early CRC sits at byte 80
-- when more than 80 bytes precede the final CRC, which makes records over 84 bytes.
local function layout(length, header)
    local early = length > 84
    local crcs = early and 4 or 2
    local pad = ((header + crcs) % 4 ~= 0) and 2 or 0
    local data = length - header - crcs - pad
    if data < 0 then
        return nil
    end
    return { early = early, pad = pad, data = data, crc_at = length - pad - 2 }
end

-- Whether a layout fits the packet: its data is a whole number of double-words (none for a read
-- request) and both CRCs lie where it says.
local function crc_fits(tvb, where, ftype)
    if not where then
        return false
    end
    if (ftype == 2 and where.data ~= 0) or (ftype ~= 2 and (where.data == 0 or where.data % 8 ~= 0)) then
        return false
    end
    if where.early and rio_crc(tvb, 80) ~= tvb(80, 2):uint() then
        return false
    end
    return rio_crc(tvb, where.crc_at) == tvb(where.crc_at, 2):uint()
end

-- Size in bytes of a read or write by rdsize/wrsize and wdptr (Part 1, the size tables).
local function transfer_size(size, wdptr)
    local small = { [0] = 1, 1, 1, 1, 2, 3, 2, 5, 4, 6, 7 }
    if size <= 10 then
        return small[size]
    end
    if wdptr == 0 then
        return ({ [11] = 8, [12] = 32, [13] = 96, [14] = 160, [15] = 224 })[size]
    end
    return ({ [11] = 16, [12] = 64, [13] = 128, [14] = 192, [15] = 256 })[size]
end

-- Dissection --------------------------------------------------------------------------------------

function rio.dissector(tvb, pinfo, root)
    local length = tvb:len()
    pinfo.cols.protocol = "RapidIO"
    local tree = root:add(rio, tvb(), "RapidIO")
    if length < 4 then
        tree:add_proto_expert_info(e_malformed)
        pinfo.cols.info = "Malformed RapidIO packet"
        return length
    end

    -- Physical and transport header.
    tree:add(f.ackid, tvb(0, 1))
    tree:add(f.vc, tvb(0, 1))
    tree:add(f.crf, tvb(0, 1))
    local tt = rshift(band(tvb(1, 1):uint(), 0x30), 4)
    local ftype = band(tvb(1, 1):uint(), 0x0F)
    tree:add(f.prio, tvb(1, 1))
    tree:add(f.tt, tvb(1, 1))
    tree:add(f.ftype, tvb(1, 1))
    local id_bytes = (tt == 1) and 2 or 1
    if tt > 1 or length < 2 + 2 * id_bytes then
        tree:add_proto_expert_info(e_unknown, "Transport type " .. tt .. " not decoded")
        pinfo.cols.info = string.format("RapidIO tt %d ftype %d", tt, ftype)
        return length
    end
    local destid = tvb(2, id_bytes):uint()
    local srcid = tvb(2 + id_bytes, id_bytes):uint()
    tree:add(f.destid, tvb(2, id_bytes))
    tree:add(f.srcid, tvb(2 + id_bytes, id_bytes))
    local pos = 2 + 2 * id_bytes
    local id_format = (tt == 1) and "0x%04x" or "0x%02x"
    local route = string.format(id_format .. " -> " .. id_format, srcid, destid)

    local ttype = (length > pos) and rshift(tvb(pos, 1):uint(), 4) or 0
    local address_bits = rio.prefs.address_bits
    if address_bits == 0 then
        address_bits = 34
        if ftype == 2 or ftype == 5 or ftype == 6 then
            for _, bits in ipairs({ 34, 50, 66 }) do
                if crc_fits(tvb, layout(length, pos + logical_header_length(ftype, ttype, bits)), ftype) then
                    address_bits = bits
                    break
                end
            end
        end
    end
    local logical = logical_header_length(ftype, ttype, address_bits)
    if not logical then
        tree:add_proto_expert_info(e_unknown, "Format type " .. ftype .. " not decoded")
        pinfo.cols.info = string.format("RapidIO ftype %d %s", ftype, route)
        return length
    end
    local where = layout(length, pos + logical)
    if not where then
        tree:add_proto_expert_info(e_malformed)
        pinfo.cols.info = string.format("Malformed RapidIO packet (ftype %d, %d bytes)", ftype, length)
        return length
    end

    local info
    local names = ttype_names[ftype] or {}
    local function name_of(t)
        return names[t] or string.format("ftype %d ttype %d", ftype, t)
    end

    -- The address of classes 2, 5 and 6: [extended address] address(29) wdptr-or-rsvd(1) xamsbs(2).
    local function add_address(with_wdptr)
        tree:add(f.address_bits, address_bits):set_generated()
        local ext = nil
        if address_bits == 50 then
            ext = tvb(pos, 2):uint()
            tree:add(f.ext_address, tvb(pos, 2))
            pos = pos + 2
        elseif address_bits == 66 then
            ext = tvb(pos, 4):uint()
            tree:add(f.ext_address, tvb(pos, 4))
            pos = pos + 4
        end
        local word = tvb(pos, 4):uint()
        local low = band(word, 0xFFFFFFF8)
        tree:add(f.address, tvb(pos, 4), low)
        local wdptr = rshift(band(word, 0x04), 2)
        if with_wdptr then
            tree:add(f.wdptr, tvb(pos + 3, 1), wdptr)
        else
            tree:add(f.reserved, tvb(pos + 3, 1))
        end
        tree:add(f.xamsbs, tvb(pos + 3, 1))
        local xamsbs = band(word, 0x03)
        local text
        if ext then
            -- ext holds address bits above 33, xamsbs bits 33:32.
            local high = ext * 4 + xamsbs
            text = string.format("0x%x%08x", high, low)
        else
            text = string.format("0x%x%08x", xamsbs, low)
        end
        tree:add(f.full_address, text):set_generated()
        pos = pos + 4
        return text, wdptr
    end

    if ftype == 2 or ftype == 5 then
        local size = band(tvb(pos, 1):uint(), 0x0F)
        tree:add(f.ttype, tvb(pos, 1)):append_text(" (" .. name_of(ttype) .. ")")
        tree:add(f.size, tvb(pos, 1))
        local srctid = tvb(pos + 1, 1):uint()
        tree:add(f.srctid, tvb(pos + 1, 1))
        pos = pos + 2
        local address, wdptr = add_address(true)
        info = string.format("%s %s tid 0x%02x addr %s size %s", name_of(ttype), route, srctid, address,
            tostring(transfer_size(size, wdptr)))
    elseif ftype == 6 then
        local address = add_address(false)
        info = string.format("SWRITE %s addr %s", route, address)
    elseif ftype == 8 then
        tree:add(f.ttype, tvb(pos, 1)):append_text(" (" .. name_of(ttype) .. ")")
        local hop = tvb(pos + 2, 1):uint()
        if ttype == 2 or ttype == 3 then
            local status = band(tvb(pos, 1):uint(), 0x0F)
            tree:add(f.status, tvb(pos, 1))
            tree:add(f.targettid, tvb(pos + 1, 1))
            tree:add(f.hopcount, tvb(pos + 2, 1))
            tree:add(f.reserved, tvb(pos + 3, 3))
            info = string.format("%s %s hop %d tid 0x%02x status %s", name_of(ttype), route, hop,
                tvb(pos + 1, 1):uint(), status_names[status] or tostring(status))
        else
            tree:add(f.size, tvb(pos, 1))
            tree:add(f.srctid, tvb(pos + 1, 1))
            tree:add(f.hopcount, tvb(pos + 2, 1))
            local word = tvb(pos + 3, 3):uint()
            local offset = band(word, 0xFFFFF8)
            tree:add(f.config_offset, tvb(pos + 3, 3), offset)
            tree:add(f.wdptr, tvb(pos + 5, 1), rshift(band(word, 0x04), 2))
            info = string.format("%s %s hop %d offset 0x%x", name_of(ttype), route, hop, offset)
        end
        pos = pos + 6
    elseif ftype == 10 then
        tree:add(f.reserved, tvb(pos, 1))
        tree:add(f.srctid, tvb(pos + 1, 1))
        tree:add(f.info, tvb(pos + 2, 2))
        info = string.format("Doorbell %s tid 0x%02x info 0x%04x", route, tvb(pos + 1, 1):uint(),
            tvb(pos + 2, 2):uint())
        pos = pos + 4
    elseif ftype == 11 then
        local first = tvb(pos, 1):uint()
        local second = tvb(pos + 1, 1):uint()
        tree:add(f.msglen, tvb(pos, 1))
        local ssize = band(first, 0x0F)
        tree:add(f.size, tvb(pos, 1)):append_text(string.format(" (%s bytes)", tostring(msg_sizes[ssize])))
        tree:add(f.letter, tvb(pos + 1, 1))
        tree:add(f.mbox, tvb(pos + 1, 1))
        tree:add(f.msgseg, tvb(pos + 1, 1))
        info = string.format("Message %s mbox %d letter %d seg %d of %d", route, rshift(band(second, 0x30), 4),
            rshift(second, 6), band(second, 0x0F), rshift(first, 4) + 1)
        pos = pos + 2
    elseif ftype == 13 then
        local status = band(tvb(pos, 1):uint(), 0x0F)
        tree:add(f.ttype, tvb(pos, 1)):append_text(" (" .. name_of(ttype) .. ")")
        tree:add(f.status, tvb(pos, 1))
        if ttype == 1 then
            tree:add(f.letter, tvb(pos + 1, 1))
            tree:add(f.mbox, tvb(pos + 1, 1))
            tree:add(f.msgseg, tvb(pos + 1, 1))
            info = string.format("%s %s status %s", name_of(ttype), route, status_names[status] or tostring(status))
        else
            tree:add(f.targettid, tvb(pos + 1, 1))
            info = string.format("%s %s tid 0x%02x status %s", name_of(ttype), route, tvb(pos + 1, 1):uint(),
                status_names[status] or tostring(status))
        end
        pos = pos + 2
    end

    -- Data, with the early CRC at byte 80 of a long packet.
    if where.data > 0 then
        tree:add(f.data_length, where.data):set_generated()
        if where.early then
            tree:add(f.data, tvb(pos, 80 - pos))
            pos = 80
        else
            tree:add(f.data, tvb(pos, where.data))
            pos = pos + where.data
        end
        info = info .. string.format(" len %d", where.data)
    end
    local bad = false
    if where.early then
        local early = tvb(80, 2):uint()
        local calculated = rio_crc(tvb, 80)
        local item = tree:add(f.early_crc, tvb(80, 2))
        tree:add(f.early_crc_calculated, calculated):set_generated()
        tree:add(f.early_crc_status, early == calculated and 1 or 0):set_generated()
        if early ~= calculated then
            item:add_proto_expert_info(e_bad_early_crc,
                string.format("Bad early CRC 0x%04x (should be 0x%04x)", early, calculated))
            bad = true
        end
        pos = 82
        -- The data after the early CRC runs up to the final CRC.
        if where.crc_at > pos then
            tree:add(f.data, tvb(pos, where.crc_at - pos))
        end
    end
    local crc = tvb(where.crc_at, 2):uint()
    local calculated = rio_crc(tvb, where.crc_at)
    local item = tree:add(f.crc, tvb(where.crc_at, 2))
    tree:add(f.crc_calculated, calculated):set_generated()
    tree:add(f.crc_status, crc == calculated and 1 or 0):set_generated()
    if crc ~= calculated then
        item:add_proto_expert_info(e_bad_crc, string.format("Bad CRC 0x%04x (should be 0x%04x)", crc, calculated))
        bad = true
    end
    if where.pad > 0 then
        local pad_item = tree:add(f.pad, tvb(where.crc_at + 2, 2))
        if tvb(where.crc_at + 2, 2):uint() ~= 0 then
            pad_item:add_proto_expert_info(e_pad)
        end
    end
    if bad then
        info = info .. " [BAD CRC]"
    end
    pinfo.cols.info = info
    return length
end

-- Captures of link-layer type 147 (LINKTYPE_USER0) come to this dissector. The table entry is set
-- again each time a capture is opened, so the built-in handling of the user link-layer types,
-- registered after scripts load, doesn't take it back.
local function register()
    DissectorTable.get("wtap_encap"):add(wtap_encaps and wtap_encaps.USER0 or 45, rio)
end
register()
function rio.init()
    register()
end
