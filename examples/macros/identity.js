// The identity of the host's own RapidIO device: its device and vendor IDs and the capability
// registers (CARs) at the bottom of its configuration space.
//
//   norvanta-cli --server ADDR macro run identity.js ShowHostIdentity

// The host's own device: local port 0, destination ID FFFFFFFFh, hop count 0.
var HOST_DEST = 0xFFFFFFFF;

var CAR_NAMES = [
    "Device Identity CAR",
    "Device Information CAR",
    "Assembly Identity CAR",
    "Assembly Information CAR",
    "Processing Element Features CAR",
    "Switch Port Information CAR",
    "Source Operations CAR",
    "Destination Operations CAR"
];

function Hex(value, digits) {
    var text = (value >>> 0).toString(16).toUpperCase();
    while (text.length < digits) {
        text = "0" + text;
    }
    return text;
}

function ShowHostIdentity() {
    var norvanta = new ActiveXObject("Norvanta.Automation");
    var ids = norvanta.GetDeviceAndVendor(0, HOST_DEST, 0);
    WScript.Echo("Host device: device 0x" + Hex(ids[0], 4) + " vendor 0x" + Hex(ids[1], 4));
    // Eight words from offset 0, one apart (stride 4 bytes).
    var cars = norvanta.MaintRead(0, HOST_DEST, 0, 0x00, CAR_NAMES.length, 4);
    for (var i = 0; i < cars.length; ++i) {
        WScript.Echo(CAR_NAMES[i] + " (0x" + Hex(i * 4, 2) + "): 0x" + Hex(cars[i], 8));
    }
}
