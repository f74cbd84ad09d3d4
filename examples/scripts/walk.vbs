' walk.vbs: a VBScript host of Tarvolin.Parser.
'
' It parses a SELECT statement and a UNION, walks every list and every stack the parser
' hands out (once with For Each, once by index), prints each item, and checks what it sees
' against the expected values. It also shows how a host sees errors: a statement that does
' not parse, and Pop on an empty stack.
'
'   cscript //nologo walk.vbs [first line of a parse-error report]
'
' The optional argument is the first line the parse-error report is expected to start
' with: "Parse error" by default, "Syntaxfehler" where the German texts are installed
' (de-DE\tarvolin.res.dll next to tarvolin.dll) and German is the user's UI language.
' The exit code is 0 when every check passed and 1 otherwise.
Option Explicit

' The values of EXPRESSIONITEM_TYPE, by number, as a host prints them.
Dim ITEM_TYPES
ITEM_TYPES = Array("AGGREGATEFUNCTION", "SELECTSTAR", "COLUMNIDENT", "ARITOPERATOR", "BOOLOPERATOR", _
                   "COMPAREOPERATOR", "DATEFUNCTION", "LITERALVALUE", "MATHFUNCTION", "NULLEXPRESSION", _
                   "JOINOPERATOR", "TABLEIDENT", "CASESTATE", "CONDITIONALSTATEMENT", "SETOPERATOR")
Const ITEM_JOINOPERATOR = 10, ITEM_TABLEIDENT = 11, ITEM_SETOPERATOR = 14
Const STATEMENT_UNKNOWN = 0, STATEMENT_SELECT = 2, STATEMENT_SETOPERATIONS = 7
Const DISP_E_EXCEPTION = &H80020009

Dim expectedErrorWord
expectedErrorWord = "Parse error"
If WScript.Arguments.Count > 0 Then expectedErrorWord = WScript.Arguments(0)

' ---------------------------------------------------------------------------------------
' Checking and printing. Numbers are compared as numbers and printed only when they are
' whole: VBScript formats them by the user's locale.

Dim checks, failures, depth
checks = 0 : failures = 0 : depth = 0

Sub Say(text)
    WScript.Echo String(depth * 2, " ") & text
End Sub

Sub Check(what, actual, expected)
    checks = checks + 1
    If actual = expected Then
        Say "ok   " & what & ": " & actual
    Else
        failures = failures + 1
        Say "FAIL " & what & ": got <" & actual & ">, expected <" & expected & ">"
    End If
End Sub

' The same, printing only a failure: for the many checks of consistency while walking.
Sub Verify(what, actual, expected)
    If actual = expected Then
        checks = checks + 1
    Else
        Check what, actual, expected
    End If
End Sub

' A getter of another kind of statement gives Nothing. (Ask with Is Nothing: Wine's
' TypeName fails on Nothing.)
Sub CheckNothing(what, object)
    checks = checks + 1
    If object Is Nothing Then
        Say "ok   " & what & ": Nothing"
    Else
        failures = failures + 1
        Say "FAIL " & what & ": got an object, expected Nothing"
    End If
End Sub

' The error a statement raised, saved before anything else can clear Err.
Dim errNumber, errSource, errDescription
Sub SaveError(what)
    errNumber = Err.Number : errSource = Err.Source : errDescription = Err.Description
    If errNumber = 0 Then
        checks = checks + 1 : failures = failures + 1
        Say "FAIL " & what & " raised no error"
    Else
        Say "     " & what & " raised " & Hex(errNumber) & ": " & FirstLine(errDescription)
    End If
End Sub

Function FirstLine(text)
    If InStr(text, vbLf) > 0 Then
        FirstLine = Left(text, InStr(text, vbLf) - 1)
    Else
        FirstLine = text
    End If
End Function

Function Append(list, text)
    If list = "" Then Append = text Else Append = list & ", " & text
End Function

' ---------------------------------------------------------------------------------------
' Walking. Every list and stack has Count, Item(i) (1-based, the default member) and
' _NewEnum (used by For Each). A stack's elements are expression items, except in a set
' operation's stack, which also holds SelectStmt objects, and in SelectExpressionList,
' whose elements are stacks themselves. kind says which elements a collection holds:
' "item", "expression" (SelectExpressionList), "orderby" or "set".

' Walks a collection with For Each, printing each element, and again with Item(i); both
' walks must give the same text.
Function Walk(what, collection, kind)
    Dim element, i, byEach, byIndex, n
    Say what & " (" & collection.Count & "):"
    depth = depth + 1
    byEach = "" : n = 0
    For Each element In collection
        byEach = Append(byEach, Describe(element, kind, True))
        n = n + 1
    Next
    byIndex = ""
    For i = 1 To collection.Count
        byIndex = Append(byIndex, Describe(collection.Item(i), kind, False))
    Next
    depth = depth - 1
    Verify what & ": Item(i) agrees with For Each", byIndex, byEach
    Verify what & ": Count", n, collection.Count
    Walk = byEach
End Function

' The same text as Walk without printing or checking, for the walk by index.
Function Quietly(collection, kind)
    Dim i, text
    text = ""
    For i = 1 To collection.Count
        text = Append(text, Describe(collection.Item(i), kind, False))
    Next
    Quietly = text
End Function

Function WalkOrNot(what, collection, kind, show)
    If show Then WalkOrNot = Walk(what, collection, kind) Else WalkOrNot = Quietly(collection, kind)
End Function

Function Describe(element, kind, show)
    Select Case kind
    Case "item"
        Describe = DescribeItem(element, show)
    Case "expression"
        Describe = DescribeSelectExpression(element, show)
    Case "orderby"
        Describe = DescribeOrderBy(element, show)
    Case "set"
        Describe = DescribeSetElement(element, show)
    End Select
End Function

' An expression item: its text, and for joins the stacks they carry, in parentheses.
Function DescribeItem(item, show)
    Dim text, itemType
    itemType = item.ItemType
    text = item.AsString
    If show Then Say text & "  [" & ITEM_TYPES(itemType) & "]"
    depth = depth + 1
    If itemType = ITEM_JOINOPERATOR Then
        ' "INNER JOIN ON": the ON condition is a stack of its own.
        text = text & " (" & WalkOrNot("JoinConditionStack", item.JoinConditionStack, "item", show) & ")"
    ElseIf itemType = ITEM_TABLEIDENT Then
        ' A FROM entry with joins: its tables and join operators, in postfix order.
        If item.JoinedTable Then
            text = text & " (" & WalkOrNot("JoinExpressionStack", item.JoinExpressionStack, "item", show) & ")"
        End If
    End If
    depth = depth - 1
    DescribeItem = text
End Function

' An element of SelectExpressionList: a stack with the column's alias in AsName.
Function DescribeSelectExpression(stack, show)
    Dim name, what
    name = stack.AsName
    If name = "" Then what = "expression without alias" Else what = "expression AS " & name
    DescribeSelectExpression = "(" & WalkOrNot(what, stack, "item", show) & ")"
    If name <> "" Then DescribeSelectExpression = name & " = " & DescribeSelectExpression
End Function

' An element of OrderByObjList: the column, and Asc (-1 ascending, 0 descending).
Function DescribeOrderBy(order, show)
    Dim text
    If order.Asc Then text = " ASC" Else text = " DESC"
    text = order.ColumnIdent.AsString & text
    If show Then Say text & "  [Asc = " & order.Asc & "]"
    DescribeOrderBy = text
End Function

' An element of a set operation's stack: a whole SELECT, or UNION, UNION ALL, ...
Function DescribeSetElement(element, show)
    If TypeName(element) = "ISelectStmt" Then
        If show Then Say "SelectStmt:"
        depth = depth + 1
        DescribeSetElement = "{" & DescribeSelect(element, show) & "}"
        depth = depth - 1
    Else
        DescribeSetElement = DescribeItem(element, show)
    End If
End Function

' A SELECT statement in short: its select list, tables and WHERE condition.
Function DescribeSelect(stmt, show)
    Dim text
    text = WalkOrNot("SelectExpressionList", stmt.SelectExpressionList, "expression", show) & _
           " FROM " & WalkOrNot("TableIdentList", stmt.TableIdentList, "item", show)
    If stmt.WhereExpressionStack.Count > 0 Then
        text = text & " WHERE " & WalkOrNot("WhereExpressionStack", stmt.WhereExpressionStack, "item", show)
    End If
    DescribeSelect = text
End Function

' ---------------------------------------------------------------------------------------
' The host.

Sub Main
    Dim parser, stmt, joins, having, popped, item, setStmt, stack

    ' The class is registered with regsvr32; the ProgID finds it.
    Set parser = CreateObject("Tarvolin.Parser")

    Say "== SELECT with joins, CASE, IN and aliases"
    parser.ParseSQL "SELECT c.name AS customer, COUNT(o.id) AS orders, " & _
                    "CASE WHEN COUNT(o.id) > 10 THEN 'big' ELSE 'small' END AS size " & _
                    "FROM customers c INNER JOIN orders o ON c.id = o.customer_id " & _
                    "LEFT JOIN regions r ON r.id = c.region_id " & _
                    "WHERE c.state IN ('NY', 'CA') AND o.total >= 10 " & _
                    "GROUP BY c.name HAVING COUNT(o.id) > 1 ORDER BY c.name DESC, orders"
    Check "StatementType", parser.StatementType, STATEMENT_SELECT
    ' Only the getter of the parsed statement's kind returns an object.
    CheckNothing "UpdateStmt of a SELECT", parser.UpdateStmt
    CheckNothing "InsertStmt of a SELECT", parser.InsertStmt
    CheckNothing "DeleteStmt of a SELECT", parser.DeleteStmt
    CheckNothing "CreateTableStmt of a SELECT", parser.CreateTableStmt
    CheckNothing "DropTableStmt of a SELECT", parser.DropTableStmt
    CheckNothing "SetOperationsStmt of a SELECT", parser.SetOperationsStmt

    Set stmt = parser.SelectStmt
    Check "Distinct", stmt.Distinct, 0
    Check "Top", stmt.Top, 0
    Check "HasLimitClause", stmt.HasLimitClause, 0

    ' Expressions are stacks in postfix order: operands first, then their operator.
    Check "SelectExpressionList", Walk("SelectExpressionList", stmt.SelectExpressionList, "expression"), _
          "customer = (c.name), orders = (o.id, COUNT), size = (CASE_SEARCHED, small, CASE_ELSE, " & _
          "o.id, COUNT, 10, >, big, WHEN_SEARCHED, CASE_CONTAINER, CASE_END, CASE_CONTAINER)"
    Check "TableIdentList", Walk("TableIdentList", stmt.TableIdentList, "item"), _
          "{JoinedTable} (customers AS c, orders AS o, INNER JOIN ON (c.id, o.customer_id, =), " & _
          "regions AS r, LEFT JOIN ON (r.id, c.region_id, =))"
    ' IN (a, b) arrives as a chain of comparisons joined by OR.
    Check "WhereExpressionStack", Walk("WhereExpressionStack", stmt.WhereExpressionStack, "item"), _
          "c.state, NY, =, c.state, CA, =, OR, o.total, 10, >=, AND"
    Check "GroupByObjList", Walk("GroupByObjList", stmt.GroupByObjList, "item"), "c.name"
    Check "HavingExpressionStack", Walk("HavingExpressionStack", stmt.HavingExpressionStack, "item"), _
          "o.id, COUNT, 1, >"
    Check "OrderByObjList", Walk("OrderByObjList", stmt.OrderByObjList, "orderby"), "c.name DESC, orders ASC"

    ' A few properties of single items.
    Set joins = stmt.TableIdentList.Item(1).JoinExpressionStack
    Check "first joined table: Name", joins(1).Name, "customers"   ' Item is the default member
    Check "first joined table: Alias", joins(1).Alias, "c"
    Check "LEFT JOIN: JoinType (JOIN_TYPE_OUTER_LEFT)", joins(5).JoinType, 2
    Check "LEFT JOIN: JoinCondition (JOIN_CONDITION_ON)", joins(5).JoinCondition, 1
    Check "WHERE o.total: TableName", stmt.WhereExpressionStack(8).TableName, "o"
    Check "WHERE o.total: ColumnName", stmt.WhereExpressionStack(8).ColumnName, "total"
    Check "COUNT: AggregateFunction (AGGREGATE_FUNCTION_COUNT)", _
          stmt.SelectExpressionList(2).Item(2).AggregateFunction, 1

    ' Out of range: there is no item 0 and none past Count.
    On Error Resume Next
    Set item = stmt.WhereExpressionStack.Item(0)
    SaveError "WhereExpressionStack.Item(0)"
    Err.Clear
    Set item = stmt.WhereExpressionStack.Item(12)
    SaveError "WhereExpressionStack.Item(Count + 1)"
    On Error GoTo 0

    Say "== Peek and Pop"
    ' The stacks are the statement's own: Pop takes the element at Item(1) away for good.
    Set having = stmt.HavingExpressionStack
    Check "Peek", having.Peek().AsString, "o.id"
    Check "Count after Peek", having.Count, 4
    popped = ""
    Do While having.Count > 0
        popped = Append(popped, having.Pop().AsString)
    Loop
    Check "Pop until empty", popped, "o.id, COUNT, 1, >"
    Check "the statement's HAVING stack after popping", stmt.HavingExpressionStack.Count, 0
    On Error Resume Next
    Set item = having.Pop()
    SaveError "Pop on an empty stack"
    On Error GoTo 0
    Check "Pop on an empty stack: Err.Number", Hex(errNumber), Hex(DISP_E_EXCEPTION)
    Check "Pop on an empty stack: Err.Description", errDescription, "Stack is empty"
    ' The stack is no registered class: the error has no source.
    Check "Pop on an empty stack: Err.Source", errSource, ""

    Say "== A statement that does not parse"
    On Error Resume Next
    parser.ParseSQL "SELECT FROM"
    SaveError "ParseSQL ""SELECT FROM"""
    On Error GoTo 0
    Check "Err.Number", Hex(errNumber), Hex(DISP_E_EXCEPTION)
    ' The source is the parser's ProgID, as registered.
    Check "Err.Source", errSource, "Tarvolin.Parser.1"
    ' The description is the whole report: its first line, the expected tokens and a trace
    ' of the parse, one per line.
    Check "first line of the report", FirstLine(errDescription), expectedErrorWord
    Check "the report goes on after its first line", Len(errDescription) > Len(expectedErrorWord) + 1, True
    Check "StatementType after the failure", parser.StatementType, STATEMENT_UNKNOWN
    CheckNothing "SelectStmt after the failure", parser.SelectStmt
    ' Objects taken from an earlier parse stay valid.
    Check "the earlier statement's tables", stmt.TableIdentList.Count, 1

    Say "== UNION and UNION ALL"
    parser.ParseSQL "SELECT a FROM t UNION SELECT b FROM u WHERE b > 1 UNION ALL SELECT c FROM v"
    Check "StatementType", parser.StatementType, STATEMENT_SETOPERATIONS
    CheckNothing "SelectStmt of a set operation", parser.SelectStmt
    Set setStmt = parser.SetOperationsStmt
    ' The stack holds the SELECTs and the operators between them, in postfix order.
    Set stack = setStmt.SetOperationsExpressionStack
    Check "SetOperationsExpressionStack", Walk("SetOperationsExpressionStack", stack, "set"), _
          "{(a) FROM t}, {(b) FROM u WHERE b, 1, >}, UNION, {(c) FROM v}, UNIONALL"
    Check "element 3 is a SetOperator item", stack(3).ItemType, ITEM_SETOPERATOR
    Check "element 3: TypeName", TypeName(stack(3)), "ISetOperator"
    Check "element 3: SetOperator (SET_OPERATOR_UNION)", stack(3).SetOperator, 0
    Check "element 5: SetOperator (SET_OPERATOR_UNIONALL)", stack(5).SetOperator, 1
    Check "element 4: TypeName", TypeName(stack(4)), "ISelectStmt"
    Check "element 4: its table", stack(4).TableIdentList(1).Name, "v"
End Sub

' Anything unexpected stops Main and lands here: report it and fail (Wine's cscript would
' otherwise stay silent).
On Error Resume Next
Main
If Err.Number <> 0 Then
    failures = failures + 1
    WScript.Echo "FAIL unexpected error " & Hex(Err.Number) & " (" & Err.Source & "): " & Err.Description
End If
On Error GoTo 0
If failures > 0 Then
    WScript.Echo "walk.vbs: " & failures & " of " & checks & " checks failed"
    WScript.Quit 1
End If
WScript.Echo "walk.vbs: all " & checks & " checks passed"
