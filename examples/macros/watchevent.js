// An event handler for watch triggers. Bind OnWatchTrigger to the event "watch trigger" (ID 4) in
// Tools > Manage Scripts: each trigger that fires calls it with one array of 17 values, which it
// prints and writes to the transaction log.
//
// DemoWatchTrigger shows the handler at work from the command line: it changes the host's component
// tag as a watched register might change, and hands the handler what a trigger on that register
// would hand it.
//
//   norvanta-cli --server ADDR macro run watchevent.js DemoWatchTrigger

// The 17 values of a watch trigger, in order.
var WATCH_FIELDS = [
    "item", "node", "destID", "register", "offset", "field", "width", "last bit", "first bit",
    "old value", "new value", "X1", "X2", "events", "log", "update period", "trigger type"
];

function Hex(value, digits) {
    var text = (value >>> 0).toString(16).toUpperCase();
    while (text.length < digits) {
        text = "0" + text;
    }
    return text;
}

function OnWatchTrigger(args) {
    var summary = "Watch trigger: " + args[3] + " (0x" + Hex(args[4], 4) + ") of node " + (args[1] + 1) +
                  " changed from 0x" + Hex(args[9], 8) + " to 0x" + Hex(args[10], 8) + ", event " + args[13];
    WScript.Echo(summary);
    Norvanta.WriteToLog(summary + "\n");
    for (var i = 0; i < args.length; ++i) {
        WScript.Echo("  " + WATCH_FIELDS[i] + ": " + args[i]);
    }
}

var HOST_DEST = 0xFFFFFFFF;
var COMPONENT_TAG = 0x6C;

function DemoWatchTrigger() {
    var before = Norvanta.GetComponentTag(0, HOST_DEST, 0);
    var after = (before + 1) >>> 0;
    // The data of a maintenance write goes as an array of 32-bit words.
    Norvanta.MaintWrite(0, HOST_DEST, 0, COMPONENT_TAG, 1, new Int32Array([after]), 4);
    var now = Norvanta.GetComponentTag(0, HOST_DEST, 0);
    OnWatchTrigger([0, 0, 0xFF, "Component Tag CSR", COMPONENT_TAG, "<All>", 32, 31, 0,
                    before, now, 0, 0, 1, 1, 1, 1]);
    return now;
}
