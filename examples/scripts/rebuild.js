// rebuild.js: a JScript host of Tarvolin.Parser that turns statement objects back into SQL.
//
// It reads every expression stack front to back, as a host evaluates it, with a stack of
// operands: an operand item (column, literal, NULL, *) pushes its text, an operator pops
// its operands and pushes the infix text, parenthesised only where precedence needs it.
// The texts come from AsString where it gives SQL (columns, literals, operators); names
// are quoted when they need it; IN and BETWEEN come back from the comparisons they were
// turned into, CASE, IF, NULLIF and COALESCE from their marker items. It is the algorithm
// of the tarvolin tool's --sql (tools/rebuild.cpp).
//
//   cscript //nologo rebuild.js
//
// For each statement it checks the rebuilt text, and that parsing the rebuilt text and
// rebuilding again gives the same text. The exit code is 0 when every check passed.

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

function fail(why) { throw new Error(why); }

// ---------------------------------------------------------------------------------------
// Names.

var KEYWORDS = ("like drop getdate round abs having null all distinct top percent limit as not is and values " +
                "delete update insert into set where order group by asc desc or select create from max min avg " +
                "count sum stdev first last var table smallint integer char float join cross natural inner outer " +
                "left right full using on union except intersect case when then else end nullif coalesce if in " +
                "between casestate").split(" ");

function isPlainName(name) {
    if (!/^[A-Za-z_][A-Za-z0-9_]*$/.test(name)) return false;
    var lower = name.toLowerCase();
    if (lower.substr(0, 9) == "casestate") return false;
    for (var i = 0; i < KEYWORDS.length; i++)
        if (lower == KEYWORDS[i]) return false;
    return true;
}

// A name as it must be written: plain, in brackets or double quotes, or (where allowed) in
// single quotes.
function quoteName(name, allowString) {
    if (isPlainName(name)) return name;
    if (name.indexOf("]") < 0 && name.charAt(name.length - 1) != "\\") return "[" + name + "]";
    if (/^([^"\\]|""|\\[^\n])*$/.test(name)) return "\"" + name + "\"";
    if (allowString && /^([^'\\]|''|\\[^\n])*$/.test(name)) return "'" + name + "'";
    fail("the name " + name + " cannot be written");
}

var NUMBER = /^[0-9]+([eE][+-]?[0-9]+)?$/;

function columnText(column, numbersAllowed) {
    var table = column.TableName, name = column.ColumnName;
    if (table == "") return numbersAllowed && NUMBER.test(name) ? name : quoteName(name, false);
    return quoteName(table, true) + "." + (name == "*" ? name : quoteName(name, false));
}

// ---------------------------------------------------------------------------------------
// Expressions.

var PREC_OR = 1, PREC_AND = 2, PREC_NOT = 3, PREC_PREDICATE = 4, PREC_ADD = 5, PREC_MUL = 6, PREC_ATOM = 7;
var ITEM = {AGGREGATE: 0, STAR: 1, COLUMN: 2, ARIT: 3, BOOL: 4, COMPARE: 5, DATE: 6, LITERAL: 7, MATH: 8,
            NULLEXPR: 9, JOIN: 10, TABLE: 11, CASESTATE: 12, CONDITIONAL: 13, SETOPERATOR: 14};
var AGGREGATES = ["SUM", "COUNT", "MIN", "MAX", "AVG", "STDEV", "FIRST", "LAST", "VAR"];
var JOIN_WORDS = ["CROSS JOIN", "JOIN", "LEFT JOIN", "RIGHT JOIN", "FULL JOIN"];
var SET_WORDS = ["UNION", "UNION ALL", "INTERSECT", "EXCEPT"];

// An operand: its kind ("value", "condition", or a part of CASE, IF or COALESCE), text and
// precedence; comparisons keep their two sides for IN and BETWEEN.
function value(text, prec) { return {kind: "value", text: text, prec: prec || PREC_ATOM}; }
function condition(text, prec) { return {kind: "condition", text: text, prec: prec}; }
function part(kind, text) { return {kind: kind, text: text, prec: PREC_ATOM}; }

function paren(operand, needed) { return needed ? "(" + operand.text + ")" : operand.text; }
function binary(left, symbol, right, prec) {
    return paren(left, left.prec < prec) + " " + symbol + " " + paren(right, right.prec <= prec);
}
function expect(operand, kind) {
    if (operand.kind != kind) fail("a " + kind + " was expected");
    return operand;
}

function itemType(x) {
    try {
        return typeof x.ItemType == "number" ? x.ItemType : -1;
    } catch (e) {
        return -1; // a SelectStmt in a set operation's stack
    }
}

// The operands that the elements of a stack leave, first to last.
function readStack(stack) {
    var operands = [];
    function pop() {
        if (operands.length == 0) fail("an operator lacks its operands");
        return operands.pop();
    }
    for (var i = 1; i <= stack.Count; i++) {
        var x = stack.Item(i), type = itemType(x), a, b;
        switch (type) {
        case -1: operands.push(part("select", selectText(x))); break;
        case ITEM.COLUMN: a = value(columnText(x, false)); a.column = true; operands.push(a); break;
        case ITEM.LITERAL: operands.push(value(x.DataType == 1 ? "'" + x.AsString + "'" : x.AsString)); break;
        case ITEM.NULLEXPR: operands.push(part("null", "NULL")); break;
        case ITEM.STAR: operands.push(part("star", "*")); break;
        case ITEM.DATE: operands.push(value("GETDATE()")); break;
        case ITEM.CASESTATE: operands.push(condition("CASESTATE_" + x.AsString, PREC_PREDICATE)); break;
        case ITEM.AGGREGATE:
            a = pop();
            operands.push(value(a.kind == "star" ? "COUNT(*)" : AGGREGATES[x.AggregateFunction] + "(" +
                                (x.Distinct ? "DISTINCT " : "") + expect(a, "value").text + ")"));
            break;
        case ITEM.MATH:
            a = expect(pop(), "value");
            if (x.MathFunction == 0) { operands.push(value("ABS(" + a.text + ")")); break; }
            b = expect(pop(), "value"); // ROUND's digits come first
            operands.push(value("ROUND(" + a.text + (b.text == "0" ? "" : ", " + b.text) + ")"));
            break;
        case ITEM.ARIT:
            b = expect(pop(), "value");
            a = expect(pop(), "value");
            if (x.AritOperator == 1 && a.text == "0") { // unary minus
                var operand = paren(b, b.prec < PREC_ATOM);
                operands.push(value((operand.charAt(0) == "-" ? "- " : "-") + operand));
                break;
            }
            var prec = x.AritOperator < 2 ? PREC_ADD : PREC_MUL;
            operands.push(value(binary(a, x.AsString, b, prec), prec));
            break;
        case ITEM.COMPARE: operands.push(compare(x.CompareOperator, pop)); break;
        case ITEM.BOOL:
            b = expect(pop(), "condition");
            a = expect(pop(), "condition");
            operands.push(combine(x.BoolOperator == 0, a, b));
            break;
        case ITEM.CONDITIONAL: operands.push(conditional(x.ConditionalStatement, pop)); break;
        case ITEM.TABLE:
            operands.push(part("table", tableText(x)));
            break;
        case ITEM.JOIN:
            b = pop();
            a = pop();
            operands.push(part("join", joinText(x, a, b)));
            break;
        case ITEM.SETOPERATOR:
            // An operand written empty leaves nothing: the operator takes what there is.
            var right = operands.length && /select|set/.test(operands[operands.length - 1].kind) ? pop() : null;
            var left = operands.length && /select|set/.test(operands[operands.length - 1].kind) ? pop() : null;
            if (right && !left) left = right, right = null;
            operands.push(part("set", (left ? paren(left, left.kind == "set") + " " : "") + SET_WORDS[x.SetOperator] +
                                          (right ? " " + paren(right, right.kind == "set") : "")));
            break;
        default: fail("an unknown item type " + type);
        }
    }
    return operands;
}

// The one operand of a stack of kind, or "" for an empty stack.
function stackText(stack, kind) {
    var operands = readStack(stack);
    if (operands.length == 0) return "";
    if (operands.length != 1) fail("a stack leaves more than one operand");
    return expect(operands[0], kind).text;
}

function compare(op, pop) {
    if (op == 8) { // NOT; over IN, BETWEEN and LIKE of a column: x NOT IN (...)
        var c = expect(pop(), "condition");
        if (c.column && c.shape == "in") return condition(c.tested + " NOT IN (" + c.list + ")", PREC_PREDICATE);
        if (c.column && (c.shape == "between" || c.shape == "like"))
            return condition(c.tested + " NOT " + c.rest, PREC_PREDICATE);
        return condition("NOT " + paren(c, c.prec < PREC_NOT), PREC_NOT);
    }
    var right = pop(), left = expect(pop(), "value"), result;
    if (op == 6 || op == 7) {
        expect(right, "null");
        return condition(left.text + (op == 6 ? " IS NULL" : " IS NOT NULL"), PREC_PREDICATE);
    }
    expect(right, "value");
    var symbol = ["=", "<>", ">", "<", ">=", "<=", "", "", "", "LIKE"][op];
    result = condition(left.text + " " + symbol + " " + right.text, PREC_PREDICATE);
    result.shape = ["equals", "", "", "", "more_equals", "less_equals", "", "", "", "like"][op];
    result.tested = left.text;
    result.other = right.text;
    result.rest = "LIKE " + right.text;
    result.column = left.column;
    return result;
}

// AND and OR: x >= a AND x <= b was BETWEEN, x = a OR x = b ... was IN.
function combine(isAnd, a, b) {
    var result;
    if (isAnd && a.shape == "more_equals" && b.shape == "less_equals" && a.tested == b.tested) {
        result = condition(a.tested + " BETWEEN " + a.other + " AND " + b.other, PREC_PREDICATE);
        result.shape = "between";
        result.rest = "BETWEEN " + a.other + " AND " + b.other;
    } else if (!isAnd && (a.shape == "equals" || a.shape == "in") && b.shape == "equals" && a.tested == b.tested) {
        var list = (a.shape == "in" ? a.list : a.other) + ", " + b.other;
        result = condition(a.tested + " IN (" + list + ")", PREC_PREDICATE);
        result.shape = "in";
        result.list = list;
    } else {
        var prec = isAnd ? PREC_AND : PREC_OR;
        return condition(binary(a, isAnd ? "AND" : "OR", b, prec), prec);
    }
    result.tested = a.tested;
    result.column = a.column;
    return result;
}

// The markers of CASE, IF, NULLIF and COALESCE (ConditionalStatement values 0 to 11).
function conditional(marker, pop) {
    var a, b, r;
    switch (marker) {
    case 0: return part("casehead", "CASE " + expect(pop(), "value").text);
    case 1: return part("casehead", "CASE");
    case 2:
    case 3:
        b = expect(pop(), "value");
        a = expect(pop(), marker == 3 ? "condition" : "value");
        return part("whens", "WHEN " + a.text + " THEN " + b.text);
    case 4:
        b = expect(pop(), "value");
        a = expect(pop(), "casehead");
        a.elseText = b.text;
        return a;
    case 5: return part("caseend", "");
    case 6:
        b = expect(pop(), "value");
        a = expect(pop(), "value");
        return value("NULLIF(" + a.text + ", " + b.text + ")");
    case 7:
        b = expect(pop(), "condition");
        a = expect(pop(), "ifpair");
        return value("IF(" + b.text + ", " + a.whenTrue + ", " + a.text + ")");
    case 8: return part("coalesce", "");
    case 9:
        b = expect(pop(), "value");
        a = expect(pop(), "coalesce");
        a.text += (a.text ? ", " : "") + b.text;
        return a;
    case 10: return part("coalesceend", "");
    case 11: // a container joins two parts
        b = pop();
        a = pop();
        if (a.kind == "whens" && b.kind == "whens") return part("whens", a.text + " " + b.text);
        if (a.kind == "casehead" && b.kind == "whens")
            return part("casebody", a.text + " " + b.text + (a.elseText !== undefined ? " ELSE " + a.elseText : ""));
        if (a.kind == "casebody" && b.kind == "caseend") return value(a.text + " END");
        if (a.kind == "coalesce" && b.kind == "coalesceend") return value("COALESCE(" + a.text + ")");
        if (a.kind == "value" && b.kind == "value") {
            r = part("ifpair", a.text);
            r.whenTrue = b.text;
            return r;
        }
    }
    fail("an unexpected conditional marker " + marker);
}

// ---------------------------------------------------------------------------------------
// Tables and joins.

function tableText(table) {
    var text = quoteName(table.Name, true);
    if (table.Alias != "") text += " AS " + table.Alias;
    return text;
}

function joinText(join, left, right) {
    var words = JOIN_WORDS[join.JoinType];
    var rightText = paren(right, right.kind == "join"); // joins group to the left
    if (join.JoinType == 0) return left.text + " " + words + " " + rightText;
    if (join.JoinCondition == 1)
        return left.text + " " + words + " " + rightText + " ON " + stackText(join.JoinConditionStack, "condition");
    if (join.JoinCondition == 2) {
        var names = [], stack = join.JoinConditionStack;
        for (var i = 1; i <= stack.Count; i++) names.push(quoteName(stack.Item(i), true));
        return left.text + " " + words + " " + rightText + " USING (" + names.join(", ") + ")";
    }
    return left.text + " NATURAL " + words + " " + rightText;
}

function fromText(list) {
    var parts = [];
    for (var i = 1; i <= list.Count; i++) {
        var table = list.Item(i);
        if (!table.JoinedTable) {
            parts.push(tableText(table));
            continue;
        }
        var operands = readStack(table.JoinExpressionStack);
        if (operands.length != 1) fail("a joined table that holds no join");
        parts.push(expect(operands[0], "join").text);
    }
    return parts.join(", ");
}

// ---------------------------------------------------------------------------------------
// Statements.

function columnsText(list, numbersAllowed) {
    var parts = [];
    for (var i = 1; i <= list.Count; i++) parts.push(columnText(list.Item(i), numbersAllowed));
    return parts.join(", ");
}

function selectText(select) {
    var text = "SELECT";
    if (select.IsTopPercent) text += " TOP " + select.TopPercent + " PERCENT";
    else if (select.Top > 0) text += " TOP " + select.Top;
    if (select.Distinct) text += " DISTINCT";
    var items = select.SelectExpressionList, parts = [];
    for (var i = 1; i <= items.Count; i++) {
        var stack = items.Item(i), operands = readStack(stack);
        if (operands.length != 1) fail("a select list element that is no expression");
        if (operands[0].kind == "star") { parts.push("*"); continue; }
        parts.push(expect(operands[0], "value").text + (stack.AsName != "" ? " AS " + quoteName(stack.AsName, true) : ""));
    }
    text += " " + parts.join(", ") + " FROM " + fromText(select.TableIdentList);
    var where = stackText(select.WhereExpressionStack, "condition");
    if (where) text += " WHERE " + where;
    if (select.GroupByObjList.Count) text += " GROUP BY " + columnsText(select.GroupByObjList, true);
    var having = stackText(select.HavingExpressionStack, "condition");
    if (having) text += " HAVING " + having;
    var order = [];
    for (i = 1; i <= select.OrderByObjList.Count; i++) {
        var entry = select.OrderByObjList.Item(i);
        order.push(columnText(entry.ColumnIdent, true) + (entry.Asc ? "" : " DESC"));
    }
    if (order.length) text += " ORDER BY " + order.join(", ");
    if (select.HasLimitClause) text += " LIMIT " + select.LimitOffset + ", " + select.LimitCount;
    return text;
}

function whereSuffix(stack) {
    var where = stackText(stack, "condition");
    return where ? " WHERE " + where : "";
}

function valuesText(list) {
    var parts = [];
    for (var i = 1; i <= list.Count; i++) parts.push(stackText(list.Item(i), "value"));
    return parts.join(", ");
}

function rebuild(parser) {
    var s, i, parts = [];
    switch (parser.StatementType) {
    case 1:
        s = parser.UpdateStmt;
        for (i = 1; i <= s.UpdateItemList.Count; i++) {
            var item = s.UpdateItemList.Item(i);
            parts.push(columnText(item.ColumnIdent, false) + " = " + stackText(item.ExpressionStack, "value"));
        }
        return "UPDATE " + s.TableIdent.Name + " SET " + parts.join(", ") + whereSuffix(s.WhereExpressionStack);
    case 2: return selectText(parser.SelectStmt);
    case 3:
        s = parser.InsertStmt;
        var columns = columnsText(s.ColumnIdentList, false);
        return "INSERT INTO " + s.TableIdent.Name + (columns ? " (" + columns + ")" : "") + " VALUES (" +
               valuesText(s.InsertExpressionList) + ")";
    case 4: s = parser.DeleteStmt; return "DELETE FROM " + s.TableIdent.Name + whereSuffix(s.WhereExpressionStack);
    case 5:
        s = parser.CreateTableStmt;
        for (i = 1; i <= s.CreateTableItemList.Count; i++) {
            var column = s.CreateTableItemList.Item(i), length = column.DataLength;
            var type = column.DataType == 1 ? "CHAR(" + (length < 0 ? length + 65536 : length) + ")"
                     : column.DataType == 2 ? "FLOAT" : length == 2 ? "SMALLINT" : "INTEGER";
            parts.push(column.ColName + " " + type);
        }
        return "CREATE TABLE " + s.TableIdent.Name + " (" + parts.join(", ") + ")";
    case 6: return "DROP TABLE " + parser.DropTableStmt.TableIdent.Name;
    case 7:
        var operands = readStack(parser.SetOperationsStmt.SetOperationsExpressionStack);
        if (operands.length == 1 && operands[0].kind == "set") return operands[0].text;
        // Operands whose operation had a statement other than SELECT as an operand stand
        // side by side; a DELETE operand drops the same operators again.
        var text = "DELETE FROM t UNION ";
        if (operands.length == 0) return text + "DELETE FROM t";
        for (i = 0; i < operands.length; i++)
            text = (i ? "(" + text + ") UNION " : text) + paren(operands[i], operands[i].kind == "set");
        return text;
    }
    fail("no statement");
}

// ---------------------------------------------------------------------------------------

var CASES = [
    ["select (a + b) * c, a - (b - c), -a * b, round(x), abs(-y) as [my col] from t",
     "SELECT (a + b) * c, a - (b - c), -a * b, ROUND(x), ABS(-y) AS [my col] FROM t"],
    ["t where not (a = 1 and b = 2) or x in (1, 2, 3) and y not between 1 and 5 and z not like 'a%' and w is null",
     "SELECT * FROM t WHERE NOT (a = 1 AND b = 2) OR x IN (1, 2, 3) AND y NOT BETWEEN 1 AND 5 AND z NOT LIKE 'a%' AND w IS NULL"],
    ["select case x when 1 then 'a' else 'b' end, case when a > 1 then 2 end, if(a = 1, b, c), nullif(a, b), " +
     "coalesce(a, b, c), count(*), sum(distinct q), getdate() from t",
     "SELECT CASE x WHEN 1 THEN 'a' ELSE 'b' END, CASE WHEN a > 1 THEN 2 END, IF(a = 1, b, c), NULLIF(a, b), " +
     "COALESCE(a, b, c), COUNT(*), SUM(DISTINCT q), GETDATE() FROM t"],
    ["select top 10 distinct o.id from orders o left outer join (items i cross join x) on o.id = i.oid " +
     "natural join y join z using (k) where CASESTATE_selected group by 1 order by o.id desc limit 5",
     "SELECT TOP 10 DISTINCT o.id FROM orders AS o LEFT JOIN (items AS i CROSS JOIN x) ON o.id = i.oid " +
     "NATURAL JOIN y JOIN z USING (k) WHERE CASESTATE_selected GROUP BY 1 ORDER BY o.id DESC LIMIT 1, 5"],
    ["select a from t union all (select b from u except select c from v)",
     "SELECT a FROM t UNION ALL (SELECT b FROM u EXCEPT SELECT c FROM v)"],
    ["update t set a = a + 1, t.b = 'x' where c <> 2", "UPDATE t SET a = a + 1, t.b = 'x' WHERE c <> 2"],
    ["insert into t (a, b) values (-1, {d '2001-01-01'})", "INSERT INTO t (a, b) VALUES (-1, {d '2001-01-01'})"],
    ["delete from t where a >= 1 and a <= 2", "DELETE FROM t WHERE a BETWEEN 1 AND 2"],
    ["create table t (a char(10), b integer, c float, d smallint)", "CREATE TABLE t (a CHAR(10), b INTEGER, c FLOAT, d SMALLINT)"],
    ["drop table t", "DROP TABLE t"]
];

try {
    var parser = new ActiveXObject("Tarvolin.Parser");
    for (var i = 0; i < CASES.length; i++) {
        parser.ParseSQL(CASES[i][0]);
        var sql = rebuild(parser);
        check("rebuilt", sql, CASES[i][1]);
        parser.ParseSQL(sql);
        check("  and again from it", rebuild(parser), sql);
    }
} catch (e) {
    failures++;
    WScript.Echo("FAIL unexpected error: " + e.message + " " + (e.description || ""));
}
if (failures > 0) {
    WScript.Echo("rebuild.js: " + failures + " of " + checks + " checks failed");
    WScript.Quit(1);
}
WScript.Echo("rebuild.js: all " + checks + " checks passed");
