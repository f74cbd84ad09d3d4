// walk.js: a JScript host of Tarvolin.Parser.
//
// It parses a SELECT statement and a UNION, walks every list and every stack the parser
// hands out (once with an Enumerator, once by index), prints each item, and checks what it
// sees against the expected values. It also shows how a host sees errors: a statement that
// does not parse, and Pop on an empty stack.
//
//   cscript //nologo walk.js [first line of a parse-error report]
//
// The optional argument is the first line the parse-error report is expected to start
// with: "Parse error" by default, "Syntaxfehler" where the German texts are installed
// (de-DE\tarvolin.res.dll next to tarvolin.dll) and German is the user's UI language.
// The exit code is 0 when every check passed and 1 otherwise.

var EXPECTED_ERROR_WORD = WScript.Arguments.length > 0 ? WScript.Arguments(0) : "Parse error";

// The values of EXPRESSIONITEM_TYPE, by number, as a host prints them.
var ITEM_TYPES = ["AGGREGATEFUNCTION", "SELECTSTAR", "COLUMNIDENT", "ARITOPERATOR", "BOOLOPERATOR",
                  "COMPAREOPERATOR", "DATEFUNCTION", "LITERALVALUE", "MATHFUNCTION", "NULLEXPRESSION",
                  "JOINOPERATOR", "TABLEIDENT", "CASESTATE", "CONDITIONALSTATEMENT", "SETOPERATOR"];
var ITEM_JOINOPERATOR = 10, ITEM_TABLEIDENT = 11, ITEM_SETOPERATOR = 14;
var STATEMENT_SELECT = 2, STATEMENT_SETOPERATIONS = 7, STATEMENT_UNKNOWN = 0;

// ---------------------------------------------------------------------------------------
// Checking and printing.

var checks = 0, failures = 0, depth = 0;

function say(text) {
    var pad = "";
    for (var i = 0; i < depth; i++) pad += "  ";
    WScript.Echo(pad + text);
}

function check(what, actual, expected) {
    checks++;
    if (actual === expected) {
        say("ok   " + what + ": " + actual);
    } else {
        failures++;
        say("FAIL " + what + ": got <" + actual + ">, expected <" + expected + ">");
    }
}

// The same, printing only a failure: for the many checks of consistency while walking.
function verify(what, actual, expected) {
    if (actual === expected) {
        checks++;
    } else {
        check(what, actual, expected);
    }
}

function hex(n) { return "0x" + (n >>> 0).toString(16).toUpperCase(); }

// Runs f, which must throw; returns the error so that the caller can check it.
function expectError(what, f) {
    try {
        f();
    } catch (e) {
        say("     " + what + " raised " + hex(e.number) + ": " + String(e.description).split("\n")[0]);
        return e;
    }
    check(what + " raises an error", "no error", "an error");
    return null;
}

// ---------------------------------------------------------------------------------------
// Walking. Every list and stack has Count, Item(i) (1-based, the default member) and
// _NewEnum (used by new Enumerator). A stack's elements are expression items, except in a
// set operation's stack, which also holds SelectStmt objects, and in SelectExpressionList,
// whose elements are stacks themselves.

// An expression item is any object with ItemType. JScript has no TypeName: ask for the
// property. (Windows' JScript throws for an unknown member, Wine's gives undefined.)
function isExpressionItem(x) {
    try {
        return typeof x.ItemType == "number";
    } catch (e) {
        return false;
    }
}

// Walks a collection with an Enumerator, printing each element, and again with Item(i);
// both walks must give the same text. describeElement(x, print) turns one element into
// text, printing it (and what it contains) when print is true.
function walk(what, collection, describeElement) {
    say(what + " (" + collection.Count + "):");
    depth++;
    var byEnumerator = [];
    for (var e = new Enumerator(collection); !e.atEnd(); e.moveNext())
        byEnumerator.push(describeElement(e.item(), true));
    var byIndex = [];
    for (var i = 1; i <= collection.Count; i++)
        byIndex.push(describeElement(collection.Item(i), false));
    depth--;
    verify(what + ": Item(i) agrees with the Enumerator", byIndex.join(", "), byEnumerator.join(", "));
    verify(what + ": Count", byEnumerator.length, collection.Count);
    return byEnumerator.join(", ");
}

// An expression item: its text, and for joins the stacks they carry, in parentheses.
function describeItem(item, print) {
    var type = item.ItemType;
    var text = item.AsString;
    if (print) say(text + "  [" + ITEM_TYPES[type] + "]");
    depth++;
    if (type == ITEM_JOINOPERATOR) {
        // "INNER JOIN ON": the ON condition is a stack of its own.
        text += " (" + (print ? walk("JoinConditionStack", item.JoinConditionStack, describeItem)
                              : quietly(item.JoinConditionStack, describeItem)) + ")";
    } else if (type == ITEM_TABLEIDENT && item.JoinedTable) {
        // A FROM entry with joins: its tables and join operators, in postfix order.
        text += " (" + (print ? walk("JoinExpressionStack", item.JoinExpressionStack, describeItem)
                              : quietly(item.JoinExpressionStack, describeItem)) + ")";
    }
    depth--;
    return text;
}

// The same text as walk() without printing or checking, for the walk by index.
function quietly(collection, describeElement) {
    var parts = [];
    for (var i = 1; i <= collection.Count; i++) parts.push(describeElement(collection.Item(i), false));
    return parts.join(", ");
}

// An element of SelectExpressionList: a stack with the column's alias in AsName.
function describeSelectExpression(stack, print) {
    var name = stack.AsName;
    var text = print ? walk("expression " + (name ? "AS " + name : "without alias"), stack, describeItem)
                     : quietly(stack, describeItem);
    return (name ? name + " = " : "") + "(" + text + ")";
}

// An element of OrderByObjList: the column, and Asc (-1 ascending, 0 descending).
function describeOrderBy(order, print) {
    var text = order.ColumnIdent.AsString + (order.Asc ? " ASC" : " DESC");
    if (print) say(text + "  [Asc = " + order.Asc + "]");
    return text;
}

// An element of a set operation's stack: a whole SELECT, or UNION, UNION ALL, ...
function describeSetElement(x, print) {
    if (isExpressionItem(x)) return describeItem(x, print);
    if (print) say("SelectStmt:");
    depth++;
    var text = "{" + describeSelect(x, print) + "}";
    depth--;
    return text;
}

// A SELECT statement in short: its select list, tables and WHERE condition.
function describeSelect(select, print) {
    var w = print ? walk : function (what, c, d) { return quietly(c, d); };
    var text = w("SelectExpressionList", select.SelectExpressionList, describeSelectExpression) +
               " FROM " + w("TableIdentList", select.TableIdentList, describeItem);
    if (select.WhereExpressionStack.Count > 0)
        text += " WHERE " + w("WhereExpressionStack", select.WhereExpressionStack, describeItem);
    return text;
}

// ---------------------------------------------------------------------------------------
// The host.

function main() {
    // The class is registered with regsvr32; the ProgID finds it.
    var parser = new ActiveXObject("Tarvolin.Parser");

    say("== SELECT with joins, CASE, IN and aliases");
    parser.ParseSQL("SELECT c.name AS customer, COUNT(o.id) AS orders, " +
                    "CASE WHEN COUNT(o.id) > 10 THEN 'big' ELSE 'small' END AS size " +
                    "FROM customers c INNER JOIN orders o ON c.id = o.customer_id " +
                    "LEFT JOIN regions r ON r.id = c.region_id " +
                    "WHERE c.state IN ('NY', 'CA') AND o.total >= 10 " +
                    "GROUP BY c.name HAVING COUNT(o.id) > 1 ORDER BY c.name DESC, orders");
    check("StatementType", parser.StatementType, STATEMENT_SELECT);
    // Only the getter of the parsed statement's kind returns an object.
    check("UpdateStmt of a SELECT", parser.UpdateStmt, null);
    check("InsertStmt of a SELECT", parser.InsertStmt, null);
    check("DeleteStmt of a SELECT", parser.DeleteStmt, null);
    check("CreateTableStmt of a SELECT", parser.CreateTableStmt, null);
    check("DropTableStmt of a SELECT", parser.DropTableStmt, null);
    check("SetOperationsStmt of a SELECT", parser.SetOperationsStmt, null);

    var select = parser.SelectStmt;
    check("Distinct", select.Distinct, 0);
    check("Top", select.Top, 0);
    check("HasLimitClause", select.HasLimitClause, 0);

    // Expressions are stacks in postfix order: operands first, then their operator.
    check("SelectExpressionList",
          walk("SelectExpressionList", select.SelectExpressionList, describeSelectExpression),
          "customer = (c.name), orders = (o.id, COUNT), size = (CASE_SEARCHED, small, CASE_ELSE, " +
          "o.id, COUNT, 10, >, big, WHEN_SEARCHED, CASE_CONTAINER, CASE_END, CASE_CONTAINER)");
    check("TableIdentList", walk("TableIdentList", select.TableIdentList, describeItem),
          "{JoinedTable} (customers AS c, orders AS o, INNER JOIN ON (c.id, o.customer_id, =), " +
          "regions AS r, LEFT JOIN ON (r.id, c.region_id, =))");
    // IN (a, b) arrives as a chain of comparisons joined by OR.
    check("WhereExpressionStack", walk("WhereExpressionStack", select.WhereExpressionStack, describeItem),
          "c.state, NY, =, c.state, CA, =, OR, o.total, 10, >=, AND");
    check("GroupByObjList", walk("GroupByObjList", select.GroupByObjList, describeItem), "c.name");
    check("HavingExpressionStack", walk("HavingExpressionStack", select.HavingExpressionStack, describeItem),
          "o.id, COUNT, 1, >");
    check("OrderByObjList", walk("OrderByObjList", select.OrderByObjList, describeOrderBy),
          "c.name DESC, orders ASC");

    // A few properties of single items.
    var table = select.TableIdentList.Item(1);
    var joins = table.JoinExpressionStack;
    check("first joined table: Name", joins(1).Name, "customers");   // Item is the default member
    check("first joined table: Alias", joins(1).Alias, "c");
    check("LEFT JOIN: JoinType (JOIN_TYPE_OUTER_LEFT)", joins(5).JoinType, 2);
    check("LEFT JOIN: JoinCondition (JOIN_CONDITION_ON)", joins(5).JoinCondition, 1);
    check("WHERE o.total: TableName", select.WhereExpressionStack(8).TableName, "o");
    check("WHERE o.total: ColumnName", select.WhereExpressionStack(8).ColumnName, "total");
    check("COUNT: AggregateFunction (AGGREGATE_FUNCTION_COUNT)",
          select.SelectExpressionList(2).Item(2).AggregateFunction, 1);

    // Out of range: there is no item 0 and none past Count.
    expectError("WhereExpressionStack.Item(0)", function () { select.WhereExpressionStack.Item(0); });
    expectError("WhereExpressionStack.Item(Count + 1)", function () { select.WhereExpressionStack.Item(12); });

    say("== Peek and Pop");
    // The stacks are the statement's own: Pop takes the element at Item(1) away for good.
    var having = select.HavingExpressionStack;
    check("Peek", having.Peek().AsString, "o.id");
    check("Count after Peek", having.Count, 4);
    var popped = [];
    while (having.Count > 0) popped.push(having.Pop().AsString);
    check("Pop until empty", popped.join(", "), "o.id, COUNT, 1, >");
    check("the statement's HAVING stack after popping", select.HavingExpressionStack.Count, 0);
    var e = expectError("Pop on an empty stack", function () { having.Pop(); });
    if (e) check("Pop on an empty stack: description", e.description, "Stack is empty");
    e = expectError("Peek on an empty stack", function () { having.Peek(); });
    if (e) check("Peek on an empty stack: description", e.description, "Stack is empty");

    say("== A statement that does not parse");
    e = expectError("ParseSQL(\"SELECT FROM\")", function () { parser.ParseSQL("SELECT FROM"); });
    if (e) {
        // The component fails with DISP_E_EXCEPTION and its error info. Windows' JScript
        // reports that code; Wine's reports E_FAIL for it. (JScript has no error source.)
        checks++;
        var n = e.number >>> 0;
        if (n == 0x80020009 || n == 0x80004005) {
            say("ok   error number: " + hex(n));
        } else {
            failures++;
            say("FAIL error number: " + hex(n));
        }
        // The description is the whole report: its first line, the expected tokens and a
        // trace of the parse, one per line.
        var lines = String(e.description).split("\n");
        check("first line of the report", lines[0], EXPECTED_ERROR_WORD);
        check("the report has more lines", lines.length > 2, true);
    }
    check("StatementType after the failure", parser.StatementType, STATEMENT_UNKNOWN);
    check("SelectStmt after the failure", parser.SelectStmt, null);
    // Objects taken from an earlier parse stay valid.
    check("the earlier statement's tables", select.TableIdentList.Count, 1);

    say("== UNION and UNION ALL");
    parser.ParseSQL("SELECT a FROM t UNION SELECT b FROM u WHERE b > 1 UNION ALL SELECT c FROM v");
    check("StatementType", parser.StatementType, STATEMENT_SETOPERATIONS);
    check("SelectStmt of a set operation", parser.SelectStmt, null);
    var set = parser.SetOperationsStmt;
    // The stack holds the SELECTs and the operators between them, in postfix order.
    var stack = set.SetOperationsExpressionStack;
    check("SetOperationsExpressionStack", walk("SetOperationsExpressionStack", stack, describeSetElement),
          "{(a) FROM t}, {(b) FROM u WHERE b, 1, >}, UNION, {(c) FROM v}, UNIONALL");
    check("element 3 is a SetOperator item", stack(3).ItemType, ITEM_SETOPERATOR);
    check("element 3: SetOperator (SET_OPERATOR_UNION)", stack(3).SetOperator, 0);
    check("element 5: SetOperator (SET_OPERATOR_UNIONALL)", stack(5).SetOperator, 1);
    check("element 4 is a SelectStmt", isExpressionItem(stack(4)), false);
    check("element 4: its table", stack(4).TableIdentList(1).Name, "v");
}

try {
    main();
} catch (e) {
    // Anything unexpected: report it and fail (Wine's cscript would otherwise stay silent).
    failures++;
    WScript.Echo("FAIL unexpected error " + hex(e.number) + ": " + e.description);
}
if (failures > 0) {
    WScript.Echo("walk.js: " + failures + " of " + checks + " checks failed");
    WScript.Quit(1);
}
WScript.Echo("walk.js: all " + checks + " checks passed");
