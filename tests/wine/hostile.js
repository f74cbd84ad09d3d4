// hostile.js: a JScript host that calls Tarvolin.Parser the wrong way. Each call must
// raise the documented error or work; none may crash the host. Run by script_host, which
// counts the checks and then checks that no object of the component is left alive. (An enumerator kept
// beyond its parser is hostile_enum.js: Wine's JScript never releases what
// new Enumerator holds.)
//
//   script_host hostile.js                 exit code 0 when every check passed

function hex(n) { return "0x" + (n >>> 0).toString(16).toUpperCase(); }
function check(what, actual, expected) { WScript.Check(what, actual, expected); }

// What a call gives: "ok" or the error number; the error is kept in lastError.
var lastError = null;
function outcome(f) {
    lastError = null;
    try {
        f();
        return "ok";
    } catch (e) {
        lastError = e;
        return hex(e.number);
    }
}
function firstLine(e) { return e ? String(e.description).split("\n")[0] : "<no error>"; }

// The component's own failure (DISP_E_EXCEPTION with its error information): Windows'
// JScript reports that code, Wine's reports E_FAIL for it.
function componentError(what, f, description) {
    var n = outcome(f);
    check(what + " raises the component's error", n == "0x80020009" || n == "0x80004005", true);
    check(what + ": description", firstLine(lastError), description);
}

// Errors of argument conversion: Wine's JScript reports the automation codes themselves,
// Windows' JScript its own numbers for them.
var TYPE_MISMATCH = ["0x80020005", "0x800A000D"], BAD_ARGUMENT_COUNT = ["0x8002000E", "0x800A01C2"];
var OVERFLOW = ["0x8002000A", "0x800A0006"];
function conversionError(what, f, codes) {
    var n = outcome(f);
    check(what, n == codes[0] || n == codes[1], true);
    if (n != codes[0] && n != codes[1]) WScript.Echo("     " + what + " gave " + n);
}
var INVALID_ARGUMENT = "0x80070057", UNSPECIFIED_ERROR = "0x80004005";

try {
    var parser = WScript.CreateObject("Tarvolin.Parser");

    WScript.Echo("== ParseSQL with what is not a string");
    // A number, a boolean and an array become their texts, which do not parse; undefined
    // becomes the empty text, which does not parse either.
    componentError("ParseSQL(42)", function () { parser.ParseSQL(42); }, "Parse error");
    componentError("ParseSQL(true)", function () { parser.ParseSQL(true); }, "Parse error");
    componentError("ParseSQL([1, 2])", function () { parser.ParseSQL([1, 2]); }, "Parse error");
    componentError("ParseSQL(undefined)", function () { parser.ParseSQL(undefined); }, "Parse error");
    conversionError("ParseSQL(null): type mismatch", function () { parser.ParseSQL(null); }, TYPE_MISMATCH);
    conversionError("ParseSQL(parser): type mismatch", function () { parser.ParseSQL(parser); }, TYPE_MISMATCH);
    conversionError("ParseSQL(): wrong argument count", function () { parser.ParseSQL(); }, BAD_ARGUMENT_COUNT);
    check("after all that, StatementType", parser.StatementType, 0);
    // A plain object's text is "[object Object]": a table name in brackets, a statement.
    check("ParseSQL({})", outcome(function () { parser.ParseSQL({}); }), "ok");
    check("ParseSQL({}): StatementType", parser.StatementType, 2);

    WScript.Echo("== Item with odd indexes");
    parser.ParseSQL("SELECT a, b FROM t WHERE a = 1");
    var where = parser.SelectStmt.WhereExpressionStack;
    check("Item(\"3\") (a numeric string)", where.Item("3").AsString, "=");
    check("Item(1.5) (rounded to even)", where.Item(1.5).AsString, "1");
    conversionError("Item(\"x\"): type mismatch", function () { where.Item("x"); }, TYPE_MISMATCH);
    check("Item(0)", outcome(function () { where.Item(0); }), INVALID_ARGUMENT);
    check("Item(-1)", outcome(function () { where.Item(-1); }), INVALID_ARGUMENT);
    check("Item(-2147483648)", outcome(function () { where.Item(-2147483648); }), INVALID_ARGUMENT);
    check("Item(2147483647)", outcome(function () { where.Item(2147483647); }), UNSPECIFIED_ERROR);
    conversionError("Item(2^31): overflow", function () { where.Item(2147483648); }, OVERFLOW);

    WScript.Echo("== A statement kept after its parser is released");
    parser = WScript.CreateObject("Tarvolin.Parser");
    parser.ParseSQL("SELECT DISTINCT x AS y FROM t ORDER BY x DESC");
    var select = parser.SelectStmt;
    parser = null;
    CollectGarbage();
    check("Distinct", select.Distinct, -1);
    check("the alias", select.SelectExpressionList.Item(1).AsName, "y");
    check("the table", select.TableIdentList.Item(1).AsString, "t");
    check("the ORDER BY column", select.OrderByObjList.Item(1).ColumnIdent.AsString, "x");

    WScript.Echo("== Pop on an empty stack, 100,000 times");
    var stack = select.WhereExpressionStack;
    var raised = 0, other = "";
    for (var i = 0; i < 100000; i++) {
        try {
            stack.Pop();
        } catch (e) {
            if (e.description == "Stack is empty") raised++;
            else other = hex(e.number) + " " + e.description;
        }
    }
    check("Pops that raised \"Stack is empty\"", raised, 100000);
    check("other errors", other, "");
    check("the stack is still empty", stack.Count, 0);
    stack = select = where = null;
} catch (e) {
    check("unexpected error", hex(e.number) + ": " + e.description, "none");
}
