// Handling the automation object's failures: every failed call throws an Error whose number is the
// failure's code and whose message is its text; GetLastError and GetLastErrorString give the last
// failure afterwards, and a call that succeeds doesn't clear them.
//
//   norvanta-cli --server ADDR macro run errors.js ErrorHandling

function Attempt(what, call) {
    try {
        call();
        WScript.Echo(what + " succeeded");
    } catch (e) {
        WScript.Echo(what + " failed: error " + e.number + ": " + e.message);
    }
}

function ErrorHandling() {
    // A refused argument: priorities are 0, 1 or 2.
    Attempt("SetMaintReadPriority(7)", function () { Norvanta.SetMaintReadPriority(7); });
    // Node numbers begin at 1.
    Attempt("GetDestIDForNode(0)", function () { Norvanta.GetDestIDForNode(0); });
    // A call that succeeds leaves the last error as it was.
    Attempt("GetVersionString()", function () { Norvanta.GetVersionString(); });
    WScript.Echo("Last error: " + Norvanta.GetLastError() + ": " + Norvanta.GetLastErrorString());
    return Norvanta.GetLastError();
}
