// The state of the switch ports of a map: the Port n Error and Status CSR of every port of every
// switch, and clearing the errors of the first switch's ports.
//
//   norvanta-cli --server ADDR macro run portstatus.js ShowSwitchPorts --map MAP
//   norvanta-cli --server ADDR macro run portstatus.js ClearSwitchPortErrors --map MAP

var SWITCH_FLAG = 0x02;
// Port n Error and Status CSR (RapidIO Part 6, LP-Serial register block): at 58h + 20h x n from the
// block's start. The bits of the port's state (uninitialized, OK, unavailable, write pending) are
// not errors.
var ERR_STAT_OFFSET = 0x58;
var PORT_STRIDE = 0x20;
var STATE_BITS = 0x0000001B;

function Hex(value, digits) {
    var text = (value >>> 0).toString(16).toUpperCase();
    while (text.length < digits) {
        text = "0" + text;
    }
    return text;
}

function Switches() {
    var found = [];
    var nodes = Norvanta.GetNodeList();
    for (var i = 0; i < nodes.length; ++i) {
        if (nodes[i] & SWITCH_FLAG) {
            var node = (nodes[i] >>> 16) + 1;
            found.push({node: node, dest: Norvanta.GetDestIDForNode(node), hop: Norvanta.GetHopCountForNode(node)});
        }
    }
    return found;
}

// The offset of the device's LP-Serial register block, found along the extended features chain.
function LpSerialBlock(sw) {
    var ptr = Norvanta.GetExtFeaturesPtr(0, sw.dest, sw.hop);
    while (ptr !== 0) {
        var header = Norvanta.MaintRead(0, sw.dest, sw.hop, ptr, 1, 4)[0];
        var id = header & 0xFFFF;
        if (id === 0x0001 || id === 0x0002 || id === 0x0003 || id === 0x0009) {
            return ptr;
        }
        ptr = (header >>> 16) & 0xFFFF;
    }
    throw new Error("Node " + sw.node + " has no LP-Serial register block.");
}

function PortCount(sw) {
    return (Norvanta.GetSwitchPortInfo(0, sw.dest, sw.hop) >>> 8) & 0xFF;
}

function StateText(status) {
    var words = [];
    if (status & 0x1) words.push("uninitialized");
    if (status & 0x2) words.push("OK");
    if (status & 0x8) words.push("unavailable");
    if (status & ~STATE_BITS) words.push("errors 0x" + Hex(status & ~STATE_BITS, 8));
    return words.join(", ");
}

function ShowSwitchPorts() {
    var switches = Switches();
    for (var s = 0; s < switches.length; ++s) {
        var sw = switches[s];
        var block = LpSerialBlock(sw);
        var ports = PortCount(sw);
        WScript.Echo("Node " + sw.node + ": destID 0x" + Hex(sw.dest, 2) + " hop " + sw.hop + ", " + ports +
                     " ports, LP-Serial block at 0x" + Hex(block, 4));
        for (var port = 0; port < ports; ++port) {
            var offset = block + ERR_STAT_OFFSET + PORT_STRIDE * port;
            var status = Norvanta.MaintRead(0, sw.dest, sw.hop, offset, 1, 4)[0];
            WScript.Echo("  Port " + port + " (0x" + Hex(offset, 4) + "): 0x" + Hex(status, 8) + " " + StateText(status));
        }
    }
    return switches.length;
}

// Clears the errors of every port of the first switch that shows some; returns how many ports.
function ClearSwitchPortErrors() {
    var sw = Switches()[0];
    var ids = Norvanta.GetDeviceAndVendor(0, sw.dest, sw.hop);
    var block = LpSerialBlock(sw);
    var cleared = 0;
    for (var port = 0; port < PortCount(sw); ++port) {
        var status = Norvanta.MaintRead(0, sw.dest, sw.hop, block + ERR_STAT_OFFSET + PORT_STRIDE * port, 1, 4)[0];
        if ((status & ~STATE_BITS) === 0) {
            continue;
        }
        // ClearPortErrors takes the vendor and device IDs first, then the target and the port.
        var remaining = Norvanta.ClearPortErrors(ids[1], ids[0], 0, sw.dest, sw.hop, port);
        WScript.Echo("Node " + sw.node + " port " + port + ": errors 0x" + Hex(status & ~STATE_BITS, 8) +
                     " cleared, remaining 0x" + Hex(remaining, 8));
        ++cleared;
    }
    return cleared;
}
