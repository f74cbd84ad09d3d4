// hostile_enum.js: JScript enumerators made before their parser is released and used
// after it. Run by cscript: Wine's JScript never releases what new Enumerator holds, so
// the check that no object is left alive (script_host) cannot apply here.
//
//   cscript //nologo hostile_enum.js        exit code 0 when every check passed

var checks = 0, failures = 0;

function check(what, actual, expected) {
    checks++;
    if (actual === expected) {
        WScript.Echo("ok   " + what + ": " + actual);
    } else {
        failures++;
        WScript.Echo("FAIL " + what + ": got <" + actual + ">, expected <" + expected + ">");
    }
}

try {
    var parser = new ActiveXObject("Tarvolin.Parser");
    parser.ParseSQL("SELECT a, b FROM t WHERE a = 1");
    var items = new Enumerator(parser.SelectStmt.WhereExpressionStack);
    var list = new Enumerator(parser.SelectStmt.SelectExpressionList);
    parser = null;
    CollectGarbage();
    var texts = [];
    for (; !items.atEnd(); items.moveNext()) texts.push(items.item().AsString);
    check("the WHERE stack, enumerated", texts.join(" "), "a 1 =");
    var stacks = 0;
    for (; !list.atEnd(); list.moveNext()) stacks++;
    check("the select list, enumerated", stacks, 2);
    items.moveFirst();
    check("moveFirst, then the first item", items.item().AsString, "a");
} catch (e) {
    failures++;
    WScript.Echo("FAIL unexpected error " + (e.number >>> 0).toString(16) + ": " + e.description);
}

if (failures) {
    WScript.Echo("hostile_enum.js: " + failures + " of " + checks + " checks failed");
    WScript.Quit(1);
}
WScript.Echo("hostile_enum.js: all " + checks + " checks passed");
WScript.Quit(0);
