// Every PE of a map, with the way the host reaches it and the device and vendor IDs it reports.
//
//   norvanta-cli --server ADDR macro run walknodes.js WalkNodes --map MAP

var TYPE_NAMES = ["bridge", "switch", "memory", "processor"];
var SWITCH_FLAG = 0x02;

function Hex(value, digits) {
    var text = (value >>> 0).toString(16).toUpperCase();
    while (text.length < digits) {
        text = "0" + text;
    }
    return text;
}

// The PE type flags as words: bit 0 bridge, bit 1 switch, bit 2 memory, bit 3 processor.
function TypeText(flags) {
    var words = [];
    for (var bit = 0; bit < TYPE_NAMES.length; ++bit) {
        if (flags & (1 << bit)) {
            words.push(TYPE_NAMES[bit]);
        }
    }
    return words.length ? words.join("+") : "none";
}

// The host's own device. GetDestIDForNode gives the host its own ID with hop count 0, the way a
// maintenance packet with that ID would leave the host: to the host's own device it goes as
// destination FFFFFFFFh.
var HOST_DEST = 0xFFFFFFFF;

// Prints one line for each node and returns how many there are.
function WalkNodes() {
    var hostID = Norvanta.GetDeviceID(0, HOST_DEST, 0);
    var nodes = Norvanta.GetNodeList();
    for (var i = 0; i < nodes.length; ++i) {
        // Each element is the node's index in the map (from 0) in the upper half and its type flags
        // in the lower; people and the node methods count nodes from 1.
        var node = (nodes[i] >>> 16) + 1;
        var flags = nodes[i] & 0xFFFF;
        var dest = Norvanta.GetDestIDForNode(node);
        var hop = Norvanta.GetHopCountForNode(node);
        var isHost = hop === 0 && !(flags & SWITCH_FLAG) && dest === hostID;
        var ids = Norvanta.GetDeviceAndVendor(0, isHost ? HOST_DEST : dest, hop);
        WScript.Echo("Node " + node + ": destID 0x" + Hex(dest, 2) + " hop " + hop + " device 0x" +
                     Hex(ids[0], 4) + " vendor 0x" + Hex(ids[1], 4) + " " + TypeText(flags) +
                     (isHost ? " (host)" : ""));
    }
    return nodes.length;
}
