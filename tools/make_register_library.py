#!/usr/bin/env python3
"""Generates the register library under Modules/: the two generic register files (switch and
endpoint) from the RapidIO standard register tables in shared/data/rapidio-standard-registers,
and the device files (.nvi and .nvr) of the devices the program knows.

The standard's tables give every CAR and CSR and the fields of the extended feature blocks; a
device file places those blocks where the device's published register map puts them, with one
register set per port (or lane), and adds the device's own registers as its map names them.
Where the map gives a register's address but no field layout that we have, the register is shown
as one field spanning all bits, rather than with fields we would have to guess.

Run from the repository root:  python3 tools/make_register_library.py [DATA_DIR]
"""

import os
import re
import sys
from xml.sax.saxutils import escape

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
DEFAULT_DATA = os.path.join(ROOT, '..', 'shared', 'data', 'rapidio-standard-registers')
OUT = os.path.join(ROOT, 'Modules')
TABLE = 'registers_3.2.txt'

# Extended feature block types of the standard (RapidIO Part 6, RM-I layouts, and Part 8).
LP_SERIAL_ENDPOINT = ('0x0001', '0x0002')  # generic end point, with software assisted recovery
LP_SERIAL_SWITCH = ('0x0003', '0x0009')    # end point free (switch), with software assisted recovery
ERROR_MANAGEMENT = ('0x0007',)
LANE_STATUS = ('0x000D',)

# Offsets of the CARs and CSRs that only switches implement (RapidIO Part 3 and Part 11).
SWITCH_ONLY = {0x30, 0x34, 0x38, 0x70, 0x74, 0x78, 0x80, 0x84, 0x88}


# ------------------------------------------------------------------------------------------------
# Reading the standard's table

class Field:
    def __init__(self, first, last, name, access, values):
        self.first, self.last, self.name, self.access, self.values = first, last, name, access, values


class Register:
    def __init__(self, offset, name):
        self.offset, self.name, self.fields = offset, name, []

    def add(self, field):
        for other in self.fields:
            if field.first <= other.last and other.first <= field.last:
                return  # the first definition of a bit wins (later parts add to earlier ones)
        self.fields.append(field)


def split_row(line):
    line = line.strip()
    if not (line.startswith("'") and line.endswith("'")):
        return None
    return line[1:-1].split("', '")


def parse_bits(text):
    text = text.strip().replace(':', '-')
    m = re.fullmatch(r'(\d+)(?:\s*-\s*(\d+))?', text)
    if not m:
        return None
    a = int(m.group(1))
    b = int(m.group(2)) if m.group(2) else a
    if a > 31 or b > 31:
        return None
    return min(a, b), max(a, b)


def value_texts(description):
    """The values the standard enumerates in a field's description, as "n=text"."""
    parts = re.split(r'\b0b([01]+)\s*[-\u2013]\s*', description)
    values = []
    for i in range(1, len(parts) - 1, 2):
        text = re.sub(r'\s+', ' ', parts[i + 1]).strip().rstrip(',;')
        if not text:
            continue
        if len(text) > 120:
            text = text[:117].rstrip() + '...'
        values.append('%d=%s' % (int(parts[i], 2), text))
    return values if len(values) >= 2 else []


def register_name(title):
    name = re.sub(r'\b(Port|Lane) n\b\s*', r'\1 ', title)
    name = re.sub(r'\bCSRs\b', 'CSR', name)
    name = re.sub(r'\bCARs\b', 'CAR', name)
    name = re.sub(r'\bRegisters\b', 'Register', name)
    return re.sub(r'\s+', ' ', name).strip()


def read_standard(data_dir):
    """{block type: {offset: Register}} from the standard's field table."""
    blocks = {}
    with open(os.path.join(data_dir, TABLE), encoding='utf-8') as table:
        for line in table:
            cols = split_row(line)
            if not cols or len(cols) < 7 or cols[4] == 'Block_ID':
                continue
            section, block, bits, name = cols[3], cols[4], cols[5], cols[6].strip()
            description = ' '.join(cols[7:])
            m = re.match(r'^[\d.]+\s+(.*?)\s*\((.*)$', section)
            if not m:
                continue
            title, where = m.group(1), m.group(2)
            offset = re.search(r'Offsets?\s+(?:0x)?([0-9A-Fa-f]+)\b', where)
            span = parse_bits(bits)
            if not offset or not span or name in ('', '\u2014', '-', 'Reserved'):
                continue
            offset = int(offset.group(1), 16)
            registers = blocks.setdefault(block, {})
            reg = registers.get(offset)
            if reg is None:
                reg = registers[offset] = Register(offset, register_name(title))
            lowered = description.lower()
            read_only = (block == 'STD_REG' and offset < 0x40) or name in ('EF_PTR', 'EF_ID') or \
                'read-only' in lowered or 'read only' in lowered or 'hard wired' in lowered
            values = value_texts(description)
            numbers = [int(v.split('=', 1)[0]) for v in values]
            # A description that enumerates each bit of a wider field, or values a field of this
            # width can't hold, isn't a list of the field's values.
            if len(set(numbers)) != len(numbers) or any(n >= 1 << (span[1] - span[0] + 1) for n in numbers):
                values = []
            reg.add(Field(span[0], span[1], name, 'R' if read_only else 'RW', values))
    for registers in blocks.values():
        for reg in registers.values():
            reg.fields.sort(key=lambda f: f.first)
    return blocks


def merged(blocks, types):
    """The registers of several block types, the later types filling in what earlier ones lack."""
    result = {}
    for block_type in types:
        for offset, reg in blocks.get(block_type, {}).items():
            if offset not in result:
                result[offset] = Register(offset, reg.name)
            for field in reg.fields:
                result[offset].add(field)
    for reg in result.values():
        reg.fields.sort(key=lambda f: f.first)
    return result


# ------------------------------------------------------------------------------------------------
# Describing a file

class Block:
    """A register block: registers at offsets relative to each set, or absolute without sets."""

    def __init__(self, name, registers, sets=(), msb_hi=False):
        self.name, self.registers, self.sets, self.msb_hi = name, registers, list(sets), msb_hi


def whole(name, offset):
    """A register whose field layout isn't given here: one field over all 32 bits."""
    reg = Register(offset, name)
    reg.fields.append(Field(0, 31, name, 'RW', []))
    return reg


def pick(registers, offsets):
    return [registers[o] for o in sorted(offsets) if o in registers]


def standard_blocks(std, switch, std_offsets=None):
    regs = std['STD_REG']
    if std_offsets is None:
        std_offsets = [o for o in regs if switch or o not in SWITCH_ONLY]
    cars = pick(regs, [o for o in std_offsets if o < 0x40])
    csrs = pick(regs, [o for o in std_offsets if 0x40 <= o < 0x100])
    return [Block('Capability Registers (CARs)', cars), Block('Command and Status Registers (CSRs)', csrs)]


def serial_blocks(std, switch, base, ports, port_offsets=None, global_offsets=None):
    regs = merged(std, LP_SERIAL_SWITCH if switch else LP_SERIAL_ENDPOINT)
    per_port = [o for o in regs if o >= 0x40] if port_offsets is None else port_offsets
    glob = [o for o in regs if o < 0x40] if global_offsets is None else global_offsets
    return [Block('LP-Serial Registers', pick(regs, glob), [('LP-Serial', base)]),
            Block('LP-Serial Port Registers', pick(regs, per_port),
                  [('Port %d' % p, base + 0x20 * p) for p in range(ports)])]


def error_blocks(std, base, ports, global_offsets=None, port_offsets=None):
    regs = merged(std, ERROR_MANAGEMENT)
    glob = [o for o in regs if o < 0x40] if global_offsets is None else global_offsets
    per_port = [o for o in regs if o >= 0x40] if port_offsets is None else port_offsets
    return [Block('Error Management Registers', pick(regs, glob), [('Error Management', base)]),
            Block('Error Management Port Registers', pick(regs, per_port),
                  [('Port %d' % p, base + 0x40 * p) for p in range(ports)])]


def lane_block(std, base, lanes):
    regs = merged(std, LANE_STATUS)
    return [Block('Lane Status Registers', pick(regs, [o for o in regs if 0x10 <= o < 0x30]),
                  [('Lane %d' % n, base + 0x20 * n) for n in range(lanes)])]


def implementation_block(name, registers, sets=()):
    """Device registers as (name, offset[, fields]) with fields as (name, mask, access)."""
    regs = []
    for entry in registers:
        if len(entry) == 2:
            regs.append(whole(entry[0], entry[1]))
            continue
        reg = Register(entry[1], entry[0])
        for field_name, mask, access in entry[2]:
            low = (mask & -mask).bit_length() - 1
            high = mask.bit_length() - 1
            # Masks count bits from the least significant one: written with BitOrder="MSB_Hi".
            reg.fields.append(Field(low, high, field_name, access, []))
        regs.append(reg)
    return Block(name, regs, sets, msb_hi=True)


# ------------------------------------------------------------------------------------------------
# Writing

def write_register_file(path, comments, blocks):
    lines = ['<?xml version="1.0" encoding="utf-8"?>']
    lines += ['<!-- %s -->' % escape(c).replace('--', '- -') for c in comments]
    lines.append('<NorvantaMemoryMap Version="1.3">')
    for block in blocks:
        order = ' BitOrder="MSB_Hi"' if block.msb_hi else ''
        lines.append('\t<RegisterBlock Name="%s" NumRegisterBits="32"%s>' % (escape(block.name), order))
        lines.append('\t\t<RegisterSets>')
        for set_name, offset in block.sets:
            lines.append('\t\t\t<RegisterSetInfo><Name>%s</Name><Offset>0x%X</Offset></RegisterSetInfo>'
                         % (escape(set_name), offset))
        lines.append('\t\t</RegisterSets>')
        lines.append('\t\t<RegisterList>')
        for reg in block.registers:
            lines.append('\t\t\t<Register>')
            lines.append('\t\t\t\t<ByteOffset>0x%X</ByteOffset>' % reg.offset)
            lines.append('\t\t\t\t<Name>%s</Name>' % escape(reg.name))
            lines.append('\t\t\t\t<BitFieldList>')
            for f in reg.fields:
                bits = '%d' % f.first if f.first == f.last else (
                    '%d:%d' % (f.last, f.first) if block.msb_hi else '%d:%d' % (f.first, f.last))
                line = '\t\t\t\t\t<BitField><Name>%s</Name><Bits>%s</Bits><Access>%s</Access>' % (
                    escape(f.name), bits, f.access)
                if f.values:
                    line += '<ValueList>' + ''.join('<Value>%s</Value>' % escape(v) for v in f.values) + \
                            '</ValueList>'
                lines.append(line + '</BitField>')
            lines.append('\t\t\t\t</BitFieldList>')
            lines.append('\t\t\t</Register>')
        lines.append('\t\t</RegisterList>')
        lines.append('\t</RegisterBlock>')
    lines.append('</NorvantaMemoryMap>')
    with open(path, 'w', encoding='utf-8', newline='\n') as out:
        out.write('\n'.join(lines) + '\n')


def write_device_info(path, comments, bitmap, common_name, pe_type, blocks):
    lines = ['<?xml version="1.0" encoding="utf-8"?>']
    lines += ['<!-- %s -->' % escape(c).replace('--', '- -') for c in comments]
    lines.append('<NorvantaDeviceInfo Version="1.3" EnhancedAvail="No">')
    lines.append('\t<BitmapFile>%s</BitmapFile>' % bitmap)
    lines.append('\t<CommonName>%s</CommonName>' % escape(common_name))
    lines.append('\t<PEType>%s</PEType>' % pe_type)
    lines.append('\t<TOC>')
    for block in blocks:
        lines.append('\t\t<TOCEntry Type="Register">%s</TOCEntry>' % escape(block.name))
    lines.append('\t</TOC>')
    lines.append('</NorvantaDeviceInfo>')
    with open(path, 'w', encoding='utf-8', newline='\n') as out:
        out.write('\n'.join(lines) + '\n')


STANDARD_SOURCE = ('Standard registers: RapidIO Interconnect Specification 3.2, register tables of the '
                   'RapidIO.org RapidIO_Standard repository (BSD 3-Clause licence).')


def write_device(base_name, comments, bitmap, common_name, pe_type, blocks):
    comments = comments + [STANDARD_SOURCE, 'Generated by tools/make_register_library.py; edit the script, '
                           'not this file.']
    write_device_info(os.path.join(OUT, base_name + '.nvi'), comments, bitmap, common_name, pe_type, blocks)
    write_register_file(os.path.join(OUT, base_name + '.nvr'), comments, blocks)


# ------------------------------------------------------------------------------------------------
# The library

def generic_files(std):
    placement = ('Extended feature blocks are placed where most switches and bridges put them: LP-Serial '
                 'at 0x100, error management at 0x1000. A device with other pointers needs a file of its own.')
    for base_name, switch, ports, what in (('0_FFFFFFFE', True, 18, 'switch'), ('0_FFFFFFFF', False, 4, 'end point')):
        blocks = standard_blocks(std, switch) + serial_blocks(std, switch, 0x100, ports) + \
            error_blocks(std, 0x1000, ports)
        write_device(base_name, ['Generic RapidIO %s: the registers every such device has by the standard.' % what,
                                 placement], 'sw-reg' if switch else 'ep-reg', '', 'S' if switch else 'PB', blocks)


# The standard registers a device's published map lists, by offset.
SWITCH_STD = [0x00, 0x04, 0x08, 0x0C, 0x10, 0x14, 0x18, 0x30, 0x34, 0x38, 0x68, 0x6C, 0x70, 0x74, 0x78, 0x80,
              0x84, 0x88]

CPS_SOURCE = ('Register map: IDT CPS-1848 register definitions (CPS1848_registers.h, RapidIO.org RapidIO_RRMAP '
              'repository, BSD licence). The CPS Gen2 family (CPS-1848, CPS-1432, CPS-1616, SPS-1616) shares '
              'this map: the family\'s device access routines drive all four with it.')

CPS_DEVICE = [
    ('Device Control 1', 0xF2000C), ('Config Block Error Report', 0xF20014),
    ('Aux Port Error Report Enable', 0xF20018), ('RapidIO Domain', 0xF20020), ('Port-Write Control', 0xF20024),
    ('Assembly Identity CAR Override', 0xF2002C), ('Assembly Information CAR Override', 0xF20030),
    ('Device Soft Reset', 0xF20040), ('I2C Master Control', 0xF20050), ('I2C Master Status and Control', 0xF20054),
    ('JTAG Control', 0xF2005C), ('External MECS Trigger Counter', 0xF20060),
    ('Maintenance Dropped Packet Counter', 0xF20064), ('Switch Parameters 1', 0xF20068),
    ('Switch Parameters 2', 0xF2006C), ('Quadrant Configuration', 0xF20200), ('Device Reset Control', 0xF20300),
    ('Route Port Select', 0x010070), ('Multicast Route Select', 0x010080), ('Broadcast Watermarks', 0x01F000),
    ('Aux Port Error Capture Enable', 0x020000), ('Aux Port Error Detect', 0x020004),
    ('Config Error Capture Enable', 0x020008), ('Config Error Detect', 0x020010),
    ('Implementation Specific Logical/Transport Address Capture', 0x021014),
    ('Logical/Transport Error Report Enable', 0x03100C), ('Log Control', 0xFD0000), ('Log Data', 0xFD0004),
    ('Log Events', 0xFD002C), ('Log Control 2', 0xFD0030),
]
# Per-port registers at 0xF40000 + 0x100 * port (the map's PORT_X_ formulas, relative to the set).
CPS_PORT = [
    ('Port Operations', 0x04), ('Port Implementation Specific Error Detect', 0x08),
    ('Port Implementation Specific Error Rate Enable', 0x0C), ('Port VC0 Packet Accept Transmit Counter', 0x10),
    ('Port NACK Transmit Counter', 0x14), ('Port VC0 Retry Transmit Counter', 0x18),
    ('Port VC0 Packet Transmit Counter', 0x1C), ('Port Trace Counter 0', 0x20), ('Port Trace Counter 1', 0x24),
    ('Port Trace Counter 2', 0x28), ('Port Trace Counter 3', 0x2C), ('Port Filter Counter 0', 0x30),
    ('Port Filter Counter 1', 0x34), ('Port Filter Counter 2', 0x38), ('Port Filter Counter 3', 0x3C),
    ('Port VC0 Packet Accept Receive Counter', 0x40), ('Port NACK Receive Counter', 0x44),
    ('Port VC0 Retry Receive Counter', 0x48), ('Port VC0 Completed Packet Transmit Counter', 0x4C),
    ('Port VC0 Packet Receive Counter', 0x50), ('Port Trace and Port-Write Control', 0x58),
    ('Port Lane Synchronisation', 0x60), ('Port VC0 Received Packet Drop Counter', 0x64),
    ('Port VC0 Transmitted Packet Drop Counter', 0x68), ('Port VC0 TTL Drop Counter', 0x6C),
    ('Port VC0 CRC Limit Drop Counter', 0x70), ('Port Retry Counter', 0xCC), ('Port Status and Control', 0xF0),
]
# Per-lane registers at 0xFF8000 + 0x100 * lane.
CPS_LANE = [
    ('Lane Control', 0x00), ('Lane PRBS Generator Seed', 0x04), ('Lane PRBS Error Counter', 0x08),
    ('Lane Error Detect', 0x0C), ('Lane Error Rate Enable', 0x10), ('Lane Attributes Capture', 0x14),
    ('Lane Data Capture 0', 0x18), ('Lane Data Capture 1', 0x1C), ('Lane DFE 1', 0x28), ('Lane DFE 2', 0x2C),
    ('Lane DFE 5', 0x38),
]


def cps_device(std, base_name, name, ports, lanes, plls):
    blocks = standard_blocks(std, True, SWITCH_STD)
    blocks += serial_blocks(std, True, 0x100, ports, [0x40, 0x44, 0x48, 0x54, 0x58, 0x5C], [0x00, 0x20, 0x3C])
    blocks += error_blocks(std, 0x1000, ports, [0x00, 0x08, 0x0C, 0x18, 0x1C, 0x28, 0x2C],
                           [0x40, 0x44, 0x48, 0x4C, 0x50, 0x54, 0x58, 0x68, 0x6C])
    blocks += lane_block(std, 0x2000, lanes)
    blocks.append(implementation_block('Device Registers', CPS_DEVICE))
    blocks.append(implementation_block('Port Registers', CPS_PORT,
                                       [('Port %d' % p, 0xF40000 + 0x100 * p) for p in range(ports)]))
    blocks.append(implementation_block('Lane Registers', CPS_LANE,
                                       [('Lane %d' % n, 0xFF8000 + 0x100 * n) for n in range(lanes)]))
    blocks.append(implementation_block('PLL Registers', [('PLL Control 1', 0x0), ('PLL Control 2', 0x4)],
                                       [('PLL %d' % n, 0xFF0000 + 0x10 * n) for n in range(plls)]))
    write_device(base_name, ['IDT %s: %d ports, %d lanes (the part number gives ports and lanes).' %
                             (name, ports, lanes), CPS_SOURCE], 'sw-reg', name, 'S', blocks)


TSI57X_SOURCE = ('Register map: Tsi578 register definitions (tsi578.h, RapidIO.org RapidIO_RRMAP repository, BSD '
                 'licence). The reference software handles Tsi568, Tsi572, Tsi574, Tsi577 and Tsi578 (and the '
                 'Tsi576, which reports the Tsi578\'s device ID) with this one map.')
TSI575_SOURCE = ('Register map: Tsi575 switch fabric register definitions (Tsi575_SRSF.h, RapidIO.org '
                 'RapidIO_RRMAP repository, BSD licence), which match the Tsi578 layout in the blocks below.')

TSI57X_DEVICE = [
    ('Broadcast Discovery Timer', 0x10000), ('Broadcast Port Mode', 0x10004),
    ('Broadcast Control Symbol Interrupt Status', 0x10008), ('Broadcast RapidIO Watermarks', 0x1000C),
    ('Broadcast Route Config DestID', 0x10070), ('Broadcast Route Config Port', 0x10074),
    ('Broadcast Route Base', 0x10078), ('Fabric Control', 0x1AA00), ('Fabric Interrupt Status', 0x1AA04),
    ('Multicast Latency Error', 0x1AA08), ('Multicast Latency Error Set', 0x1AA0C),
    ('Global Interrupt Status', 0x1AC00), ('Global Interrupt Enable', 0x1AC04),
    ('Global Device ID Select', 0x1AC08), ('Port-Write Timeout', 0x1AC14),
    ('Port-Write Outbound Request Status', 0x1AC18), ('I2C Device ID', 0x1D100), ('I2C Reset', 0x1D104),
    ('I2C Master Configuration', 0x1D108), ('I2C Master Control', 0x1D10C), ('I2C Access Status', 0x1D118),
    ('I2C Interrupt Status', 0x1D11C), ('I2C Boot Control', 0x1D140),
]
# Per-port registers at 0x11000 + 0x100 * port, and at 0x13000 + 0x100 * port (relative to the set).
TSI57X_PORT = [
    ('Port Discovery Timer', 0x000), ('Port Mode', 0x004), ('Port Control Symbol Interrupt Status', 0x008),
    ('Port RapidIO Watermarks', 0x00C), ('Port Route Config DestID', 0x070), ('Port Route Config Port', 0x074),
    ('Port Route Base', 0x078), ('Port ID', 0x2000), ('Port Control Independent', 0x2004),
    ('Port Silence Timer', 0x2008), ('Port Send Multicast Control Symbol', 0x200C),
    ('Port LUT Parity Error Info', 0x2010), ('Port Control Symbol Transmit', 0x2014),
    ('Port Interrupt Status', 0x2018), ('Port Interrupt Generate', 0x201C),
    ('Port Performance Counter 0 and 1 Control', 0x2020), ('Port Performance Counter 2 and 3 Control', 0x2024),
    ('Port Performance Counter 4 and 5 Control', 0x2028), ('Port Performance Counter 0', 0x2040),
    ('Port Performance Counter 1', 0x2044), ('Port Performance Counter 2', 0x2048),
    ('Port Performance Counter 3', 0x204C), ('Port Performance Counter 4', 0x2050),
    ('Port Performance Counter 5', 0x2054), ('Port Transmit Queue Depth Threshold', 0x2080),
    ('Port Transmit Queue Status', 0x2084), ('Port Receive Queue Depth Threshold', 0x2090),
    ('Port Receive Queue Status', 0x2094), ('Port Reorder Counter', 0x20A0),
]


def tsi57x_device(std, base_name, name, comment, source, ports):
    blocks = standard_blocks(std, True, SWITCH_STD)
    blocks += serial_blocks(std, True, 0x100, ports, [0x40, 0x44, 0x48, 0x58, 0x5C], [0x00, 0x20, 0x3C])
    blocks += error_blocks(std, 0x1000, ports, [0x00, 0x08, 0x0C, 0x14, 0x18, 0x1C, 0x28, 0x2C],
                           [0x40, 0x44, 0x48, 0x4C, 0x50, 0x54, 0x58, 0x68, 0x6C])
    blocks.append(implementation_block('Device Registers', TSI57X_DEVICE))
    blocks.append(implementation_block('Port Registers', TSI57X_PORT,
                                       [('Port %d' % p, 0x11000 + 0x100 * p) for p in range(ports)]))
    write_device(base_name, [comment, source], 'sw-reg', name, 'S', blocks)


TSI568_SOURCE = ('Tsi568 specifics: the Linux kernel\'s Tsi568 switch driver names the broadcast port mode '
                 'register at 0x10004 with its port-write disable bit (0x08000000) and the route configuration '
                 'registers at 0x10070/0x10074 and 0x11070 + 0x100 * port, as in the Tsi57x map.')

TSI721_SOURCE = ('Register map: IDT Tsi721 register definitions (IDT_Tsi721.h, RapidIO.org RapidIO_RRMAP '
                 'repository, BSD licence): the RapidIO side as seen through maintenance transactions. One '
                 'RapidIO port of four lanes.')

TSI721_DEVICE = [
    ('PLM Block Header', 0x10000), ('PLM Port Implementation Specific Control', 0x10080),
    ('PLM Port Status', 0x10090), ('PLM Port Interrupt Enable', 0x10094), ('PLM Port Port-Write Enable', 0x10098),
    ('PLM Port Event Generate', 0x1009C), ('PLM Port All Interrupts Enable', 0x100A0),
    ('PLM Port All Port-Writes Enable', 0x100A4), ('PLM Port Discovery Timer', 0x100B4),
    ('PLM Port Silence Timer', 0x100B8), ('PLM Port Vmin Exponent', 0x100BC), ('PLM Port Polarity Control', 0x100C0),
    ('PLM Port Packet Denial Control', 0x100C8), ('PLM Port Received MECS', 0x100D0),
    ('PLM Port MECS Forwarding', 0x100D8), ('PLM Port Long Control Symbol Transmit 1', 0x100E0),
    ('PLM Port Long Control Symbol Transmit 2', 0x100E4), ('TLM Block Header', 0x10300),
    ('TLM Port Control', 0x10380), ('TLM Port Status', 0x10390), ('TLM Port Interrupt Enable', 0x10394),
    ('TLM Port Port-Write Enable', 0x10398), ('TLM Port Event Generate', 0x1039C),
    ('TLM Port Ftype Filter Control', 0x103E0), ('PBM Block Header', 0x10600), ('PBM Port Control', 0x10680),
    ('PBM Port Status', 0x10690), ('PBM Port Interrupt Enable', 0x10694), ('PBM Port Port-Write Enable', 0x10698),
    ('PBM Port Event Generate', 0x1069C), ('PBM Port Ingress Watermark 0', 0x106B0),
    ('PBM Port Ingress Watermark 1', 0x106B4), ('PBM Port Ingress Watermark 2', 0x106B8),
    ('PBM Port Ingress Watermark 3', 0x106BC), ('EM Block Header', 0x10900), ('EM Interrupt Status', 0x10910),
    ('EM Interrupt Enable', 0x10914), ('EM Interrupt Port Status', 0x10918), ('EM Port-Write Status', 0x10920),
    ('EM Port-Write Enable', 0x10924), ('EM Port-Write Port Status', 0x10928),
    ('EM Device Interrupt Enable', 0x10930), ('EM Device Port-Write Enable', 0x10934),
    ('EM MECS Status', 0x1093C), ('EM MECS Interrupt Enable', 0x10940), ('EM MECS Capture Enable', 0x10944),
    ('EM MECS Trigger Enable', 0x10948), ('EM MECS Request', 0x1094C), ('EM MECS Port Status', 0x10950),
    ('EM MECS Event Generate', 0x1095C), ('EM Reset Port Status', 0x10960), ('EM Reset Interrupt Enable', 0x10968),
    ('EM Reset Port-Write Enable', 0x10970), ('Port-Write Block Header', 0x10A00), ('Port-Write Control', 0x10A04),
    ('Port-Write Routing', 0x10A08), ('Port-Write Receive Status', 0x10A10),
    ('Port-Write Receive Event Generate', 0x10A14), ('LLM Block Header', 0x10D00),
    ('Maintenance Write Restriction', 0x10D10), ('Maintenance Port-Write Restriction', 0x10D14),
    ('Maintenance Read Restriction', 0x10D18), ('Whiteboard', 0x10D24), ('Prescalar for Service Clock', 0x10D30),
    ('Register Reset Control', 0x10D34), ('Local Logical/Transport Error Detect', 0x10D48),
    ('Local Logical/Transport Error Enable', 0x10D4C), ('Fabric Block Header', 0x10E00),
    ('PRBS Block Header', 0x12000),
]


def tsi721_device(std):
    blocks = standard_blocks(std, False, [0x00, 0x04, 0x08, 0x0C, 0x10, 0x18, 0x1C, 0x4C, 0x60, 0x68, 0x6C])
    blocks += serial_blocks(std, False, 0x100, 1, [0x40, 0x44, 0x48, 0x54, 0x58, 0x5C], [0x00, 0x20, 0x24, 0x3C])
    blocks += error_blocks(std, 0x1000, 1, [0x00, 0x08, 0x0C, 0x10, 0x14, 0x18, 0x1C, 0x28],
                           [0x40, 0x44, 0x48, 0x4C, 0x50, 0x54, 0x58, 0x68, 0x6C])
    blocks += lane_block(std, 0x3000, 4)
    blocks.append(implementation_block('Device Registers', TSI721_DEVICE))
    blocks.append(implementation_block('PRBS Lane Registers',
                                       [('PRBS Lane Control', 0x4), ('PRBS Lane Seed', 0x8),
                                        ('PRBS Lane Error Count', 0xC)],
                                       [('Lane %d' % n, 0x12000 + 0x10 * n) for n in range(4)]))
    write_device('0_80AB0038', ['IDT Tsi721 PCIe to RapidIO bridge.', TSI721_SOURCE], 'br-reg', 'Tsi721', 'B',
                 blocks)


def main():
    data_dir = sys.argv[1] if len(sys.argv) > 1 else DEFAULT_DATA
    std = read_standard(data_dir)
    os.makedirs(OUT, exist_ok=True)
    generic_files(std)
    cps_device(std, '0_03740038', 'CPS-1848', 18, 48, 12)
    cps_device(std, '0_03750038', 'CPS-1432', 14, 32, 8)
    cps_device(std, '0_03790038', 'CPS-1616', 16, 16, 4)
    cps_device(std, '0_03780038', 'SPS-1616', 16, 16, 4)
    family = 'Per-port sets cover the 16 ports the Tsi57x map provides (Tsi578_MAX_PORTS); a smaller member uses the first ones.'
    tsi57x_device(std, '0_0578000D', 'Tsi578', 'Tundra Tsi578 (and Tsi576, same device ID). ' + family,
                  TSI57X_SOURCE, 16)
    tsi57x_device(std, '0_0577000D', 'Tsi577', 'Tundra Tsi577. ' + family, TSI57X_SOURCE, 16)
    tsi57x_device(std, '0_0574000D', 'Tsi574', 'Tundra Tsi574. ' + family, TSI57X_SOURCE, 16)
    tsi57x_device(std, '0_0575000D', 'Tsi575', 'Tundra Tsi575 switch fabric (internal ID 0x575 by its map). ' +
                  family, TSI575_SOURCE, 16)
    tsi57x_device(std, '0_0568000D', 'Tsi568', 'Tundra Tsi568. ' + family, TSI57X_SOURCE + ' ' + TSI568_SOURCE, 16)
    tsi721_device(std)


if __name__ == '__main__':
    main()
