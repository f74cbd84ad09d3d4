' hostile.vbs: a VBScript host that calls Tarvolin.Parser the wrong way. Each call must
' raise the documented error or work; none may crash the host. Run by script_host, which
' counts the checks and then checks that no object of the component is left alive.
'
'   script_host hostile.vbs                exit code 0 when every check passed
Option Explicit

Sub Check(what, actual, expected)
    WScript.Check what, actual, expected
End Sub

' The error the last statement raised, as "0" or its number in hex, and the first line of
' its description; Err is cleared for the next statement.
Dim errText
Function Outcome()
    Outcome = Hex(Err.Number)
    errText = Err.Description
    If InStr(errText, vbLf) > 0 Then errText = Left(errText, InStr(errText, vbLf) - 1)
    Err.Clear
End Function

' VBScript's own numbers for the automation errors of argument conversion.
Const TYPE_MISMATCH = "D", WRONG_ARGUMENT_COUNT = "1C2", OVERFLOW = "6", NOT_SUPPORTED_TYPE = "1CA"
' The component's: DISP_E_EXCEPTION with its description, E_INVALIDARG as "invalid
' procedure call", E_FAIL unchanged.
Const COMPONENT_ERROR = "80020009", INVALID_ARGUMENT = "5", UNSPECIFIED_ERROR = "80004005"

Dim parser, where, statement, stack, element, item, texts, stacks, raised, other, i, x
On Error Resume Next

Set parser = WScript.CreateObject("Tarvolin.Parser")
Check "WScript.CreateObject", Outcome(), "0"

WScript.Echo "== ParseSQL with what is not a string"
parser.ParseSQL 42 ' its text, which does not parse
Check "ParseSQL 42", Outcome() & " " & errText, COMPONENT_ERROR & " Parse error"
parser.ParseSQL Empty ' the empty text
Check "ParseSQL Empty", Outcome() & " " & errText, COMPONENT_ERROR & " Parse error"
parser.ParseSQL Null
Check "ParseSQL Null", Outcome(), TYPE_MISMATCH
parser.ParseSQL Nothing
Check "ParseSQL Nothing", Outcome(), NOT_SUPPORTED_TYPE
parser.ParseSQL parser ' an object without a default value
Check "ParseSQL parser", Outcome(), TYPE_MISMATCH
parser.ParseSQL Array("SELECT a FROM t")
Check "ParseSQL Array(...)", Outcome(), TYPE_MISMATCH
parser.ParseSQL
Check "ParseSQL without an argument", Outcome(), WRONG_ARGUMENT_COUNT
Check "after all that, StatementType", parser.StatementType, 0

WScript.Echo "== Item with odd indexes"
parser.ParseSQL "SELECT a, b FROM t WHERE a = 1"
Set where = parser.SelectStmt.WhereExpressionStack
Check "Item(""3"") (a numeric string)", where.Item("3").AsString, "="
x = where.Item("x")
Check "Item(""x"")", Outcome(), TYPE_MISMATCH
x = where.Item(0)
Check "Item(0)", Outcome() & " " & errText, INVALID_ARGUMENT & " Invalid procedure call or argument"
x = where.Item(-1)
Check "Item(-1)", Outcome(), INVALID_ARGUMENT
x = where.Item(-2147483648)
Check "Item(-2147483648)", Outcome(), INVALID_ARGUMENT
x = where.Item(2147483647)
Check "Item(2147483647)", Outcome(), UNSPECIFIED_ERROR
x = where.Item(2147483648)
Check "Item(2^31)", Outcome(), OVERFLOW

WScript.Echo "== An enumerator used after its parser is released"
parser.ParseSQL "SELECT a, b FROM t WHERE a = 1"
texts = ""
For Each element In parser.SelectStmt.WhereExpressionStack
    Set parser = Nothing ' in the first round: the loop's enumerator goes on alone
    texts = texts & element.AsString & " "
Next
Check "the WHERE stack, enumerated", texts, "a 1 = "
Set parser = WScript.CreateObject("Tarvolin.Parser")

WScript.Echo "== A statement and its stacks kept after the parser is released"
parser.ParseSQL "SELECT DISTINCT x AS y, z FROM t ORDER BY x DESC"
Set statement = parser.SelectStmt
Set where = statement.WhereExpressionStack
Set parser = Nothing
Check "Distinct", statement.Distinct, -1
Check "the alias", statement.SelectExpressionList.Item(1).AsName, "y"
Check "the table", statement.TableIdentList.Item(1).AsString, "t"
Check "the ORDER BY column", statement.OrderByObjList.Item(1).ColumnIdent.AsString, "x"
stacks = 0
For Each element In statement.SelectExpressionList
    For Each item In element
        stacks = stacks + 1
    Next
Next
Check "items of the select list, enumerated", stacks, 2
Check "errors so far", Outcome(), "0"

WScript.Echo "== Pop on an empty stack, 100,000 times"
raised = 0 : other = ""
For i = 1 To 100000
    x = where.Pop
    If Err.Number = &H80020009 And Err.Description = "Stack is empty" Then
        raised = raised + 1
    ElseIf Err.Number <> 0 Then
        other = Hex(Err.Number) & " " & Err.Description
    End If
    Err.Clear
Next
Check "Pops that raised ""Stack is empty""", raised, 100000
Check "other errors", other, ""
Check "the stack is still empty", where.Count, 0

Check "unexpected error", Hex(Err.Number) & " " & Err.Description, "0 "
Set where = Nothing : Set statement = Nothing : Set element = Nothing : Set item = Nothing
