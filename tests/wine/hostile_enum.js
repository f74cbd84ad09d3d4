// hostile_enum.js: JScript enumerators made before their parser is released and used
// after it. Wine's JScript never releases what new Enumerator holds, so the check that no
// object is left alive cannot apply here.
//
//   script_host --engine-keeps-objects hostile_enum.js     exit code 0 when every check passed

function check(what, actual, expected) { WScript.Check(what, actual, expected); }

try {
    var parser = WScript.CreateObject("Tarvolin.Parser");
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
    check("unexpected error", (e.number >>> 0).toString(16) + ": " + e.description, "none");
}

