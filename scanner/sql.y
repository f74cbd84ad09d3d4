/* The SQL grammar: its tokens, nonterminals and rules, start symbol Command, and the
 * tree-building action of each rule, written beside it.
 *
 * This file is the only place where the rules, their order and their actions are kept.
 * At build time scanner/grammar.py reads it and writes
 *   - the grammar without its actions, from which bison generates the parse tables in
 *     the scanner layer (bison's own yyparse is not used);
 *   - the symbol names and numbers, the rule count and each rule's left-hand symbol and
 *     length, for the driver, the trace and the error report (scanner layer);
 *   - the action dispatch by rule number and the table of the values rules hand up
 *     unchanged, for the parser driver (parse tree layer, parsetree/driver.cpp).
 * So the scanner layer never sees the actions, and the parse tree layer takes them from
 * here. The tests check the generated facts against bison's tables.
 *
 * An action reads { $$ = Call($1, $3); }: the call names a small function of
 * TreeActions (parsetree/actions.cpp), and $k is the value of the k-th right-hand symbol,
 * which must be a nonterminal (tokens carry no value; a leaf node takes the token just
 * scanned). { $$ = $k; } hands a value up unchanged, { $$ = nullptr; } hands up null, and
 * an alternative without an action hands up $1, or null when it is empty; the driver hands
 * those values up without running an action. Rules are numbered in the order written, as
 * bison numbers them; the numbers appear only in the generated files and the debug trace.
 */

%require "3.5"
%define api.prefix {sql_}
%define parse.error verbose
%define parse.trace

%code {
/* bison still emits its own parse function; it is never called, and these two
 * definitions only satisfy it. */
static int sql_lex(void) { return 0; }
static void sql_error(const char*) {}
}

/* Token codes, in code order, so that symbol number = code - 255. */
%token IDENTIFIER 258 LEFTPAREN 259 RIGHTPAREN 260 COMMA 261 STRING_VALUE 262
%token FLOAT_VALUE 263 NUMBER_VALUE 264 DATE_VALUE 265 SQL_NULL 266 FROM 267 AS 268
%token WHERE 269 EQUALS 270 DOT 271 LESS 272 MORE 273 LESS_EQUALS 274 MORE_EQUALS 275
%token IS 276 NOT_EQUALS 277 SELECT 278 STAR 279 COUNT 280 DISTINCT 281 AVG 282 MAX 283
%token MIN 284 SUM 285 STDEV 286 FIRST 287 LAST 288 VAR 289 ORDER 290 BY 291 ASC 292
%token DESC 293 ALL 294 TOP 295 PERCENT 296 LIMIT 297 SQL_GROUP 298 HAVING 299
%token SQL_DELETE 300 UPDATE 301 SET 302 INSERT 303 INTO 304 VALUES 305 DROP 306
%token CREATE 307 TABLE 308 CHAR_DATATYPE 309 SMALLINT_DATATYPE 310 INTEGER_DATATYPE 311
%token FLOAT_DATATYPE 312 DQ_STRING_VALUE 313 BRACKETED_VALUE 314 CROSS 315 INNER 316
%token OUTER 317 LEFT 318 RIGHT 319 FULL 320 NATURAL 321 USING 322 ON 323 SQL_IN 324
%token BETWEEN 325 LIKE 326 CASESTATE 327 CASE 328 WHEN 329 THEN 330 ELSE 331 END 332
%token NULLIF 333 COALESCE 334 IF 335 TIMESTAMP_VALUE 336 TIME_VALUE 337 UNION 338
%token EXCEPT 339 INTERSECT 340 JOIN 341 EVAL_PRIORITY 342 ABS 343 ROUND 344 GETDATE 345
%token MINUS 346 PLUS 347 DIVIDE 348 UNARYMINUS 349 OR 350 AND 351 NOT 352

/* Nonterminals, declared in the order of their first rule, which fixes their numbers. */
%nterm Command SetOperations_Statement SetOperand SQL_Statement DDL_Statement AllDistinct
%nterm Top LimitClause SelectElementList SelectExpressionAsName InsertColSpec ColList
%nterm InsertValueList WhereClause ConstantExpression UpdateList UpdateValue NotIn
%nterm NotBetween NotLike WhereConditions WherePredicate ColName TableName
%nterm TableReferenceList TableReference JoinedTable OptionalOuter JoinType JoinCondition
%nterm UnqualifiedColumnNameList UnqualifiedColumnName Identifier Identifier_QuotesAllowed
%nterm Identifier_QuotesAllowedOrStar SelectExpression SelectExpressionItem ValueOrColName
%nterm ValueOrColNameExpression ValueOrColNameExpressionList CaseExpression
%nterm CaseAbbreviation CoalesceItemList CaseSpecification SearchedCaseClause
%nterm SearchedWhenList SearchedWhenCondition SimpleCaseClause SimpleWhenList
%nterm SimpleWhenCondition ElseClause GroupByClause GroupColList GroupColItem HavingClause
%nterm OrderClause OrderColList OrderCol OrderColItem Value Function MathFunction
%nterm DateFunction Aggregate AggregateFunction ColDataTypeList DataType LiteralValue
%nterm Number Float String TimeStampLiteral DateLiteral TimeLiteral

/* Precedence, lowest first.
 * - UNION ALL (marked EVAL_PRIORITY) yields to any following set operator, so
 *   A UNION ALL B op C reads A UNION ALL (B op C); UNION, INTERSECT and EXCEPT group
 *   to the left on one level.
 * - TOP yields to a following number: that number is TOP's count.
 * - A join keyword after a complete join reduces first (joins group to the left); the
 *   empty join condition (marked JOIN) reduces before another join keyword,
 *   but ON and USING are shifted, so they belong to the nearest join on their left.
 * - Conditions: OR < AND < NOT; arithmetic: + - < * / < unary minus. */
%precedence EVAL_PRIORITY
%left UNION INTERSECT EXCEPT
%precedence TOP
%precedence NUMBER_VALUE FLOAT_VALUE
%left CROSS NATURAL JOIN INNER OUTER LEFT RIGHT FULL
%precedence ON USING
%left OR
%left AND
%precedence NOT
%left PLUS MINUS
%left STAR DIVIDE
%precedence UNARYMINUS

/* The one conflict left by design: after "( joined-table", a closing parenthesis closes
 * the parenthesised joined table (shift) rather than ending a parenthesised statement
 * whose table list is that joined table. */
%expect 1

%start Command

%%

Command
    : SQL_Statement                                         { $$ = Root($1); }
    | DDL_Statement                                         { $$ = Root($1); }
    | SetOperations_Statement                               { $$ = Root($1); }
    ;
SetOperations_Statement
    : SetOperand UNION SetOperand                           { $$ = Union($1, $3); }
    | SetOperand UNION ALL SetOperand %prec EVAL_PRIORITY   { $$ = UnionAll($1, $4); }
    | SetOperand INTERSECT SetOperand                       { $$ = Intersect($1, $3); }
    | SetOperand EXCEPT SetOperand                          { $$ = Except($1, $3); }
    ;
SetOperand
    : SetOperations_Statement
    | SQL_Statement
    | %empty
    | LEFTPAREN SetOperand RIGHTPAREN                       { $$ = $2; }
    ;
SQL_Statement
    : SELECT Top AllDistinct SelectElementList FROM TableReferenceList
          WhereClause GroupByClause HavingClause OrderClause LimitClause
                                                            { $$ = Select($2, $3, $4, $6, $7, $8, $9, $10, $11); }
    | SELECT Top AllDistinct STAR FROM TableReferenceList
          WhereClause GroupByClause HavingClause OrderClause LimitClause
                                                            { $$ = SelectStar($2, $3, $6, $7, $8, $9, $10, $11); }
    | TableReferenceList WhereClause GroupByClause HavingClause OrderClause
                                                            { $$ = TableQuery($1, $2, $3, $4, $5); }
    | SQL_DELETE FROM Identifier WhereClause                { $$ = Delete($3, $4); }
    | UPDATE Identifier SET UpdateList WhereClause          { $$ = Update($2, $4, $5); }
    | INSERT INTO Identifier InsertColSpec VALUES LEFTPAREN InsertValueList RIGHTPAREN
                                                            { $$ = Insert($3, $4, $7); }
    ;
DDL_Statement
    : CREATE TABLE Identifier LEFTPAREN ColDataTypeList RIGHTPAREN
                                                            { $$ = CreateTable($3, $5); }
    | DROP TABLE Identifier                                 { $$ = DropTable($3); }
    ;
AllDistinct
    : %empty
    | ALL                                                   { $$ = nullptr; }
    | DISTINCT                                              { $$ = Distinct(); }
    ;
Top
    : %empty
    | TOP                                                   { $$ = Top(nullptr); }
    | TOP Number                                            { $$ = Top($2); }
    | TOP Number PERCENT                                    { $$ = TopPercent($2); }
    | TOP Float PERCENT                                     { $$ = TopPercent($2); }
    ;
LimitClause
    : %empty
    | LIMIT Number                                          { $$ = LimitCount($2); }
    | LIMIT Number COMMA Number                             { $$ = Limit($2, $4); }
    ;
SelectElementList
    : SelectExpressionAsName
    | SelectElementList COMMA SelectExpressionAsName        { $$ = Append($1, $3); }
    ;
SelectExpressionAsName
    : SelectExpression
    | SelectExpression AS Identifier_QuotesAllowed          { $$ = ColumnAlias($1, $3); }
    | SelectExpression AS STRING_VALUE                      { $$ = StringColumnAlias($1); }
    ;
InsertColSpec
    : LEFTPAREN ColList RIGHTPAREN                          { $$ = $2; }
    | %empty
    ;
ColList
    : ColName
    | ColList COMMA ColName                                 { $$ = Append($1, $3); }
    ;
InsertValueList
    : ConstantExpression
    | InsertValueList COMMA ConstantExpression              { $$ = Append($1, $3); }
    ;
WhereClause
    : %empty
    | WHERE WhereConditions                                 { $$ = $2; }
    ;
ConstantExpression
    : Value
    | MINUS ConstantExpression %prec UNARYMINUS             { $$ = Negative($2); }
    | ConstantExpression PLUS ConstantExpression            { $$ = Plus($1, $3); }
    | ConstantExpression MINUS ConstantExpression           { $$ = Minus($1, $3); }
    | ConstantExpression DIVIDE ConstantExpression          { $$ = Divide($1, $3); }
    | ConstantExpression STAR ConstantExpression            { $$ = Multiply($1, $3); }
    | LEFTPAREN ConstantExpression RIGHTPAREN               { $$ = $2; }
    ;
UpdateList
    : UpdateValue
    | UpdateList COMMA UpdateValue                          { $$ = Append($1, $3); }
    ;
UpdateValue
    : ColName EQUALS ValueOrColNameExpression               { $$ = UpdateValue($1, $3); }
    ;
NotIn
    : NOT SQL_IN                                            { $$ = nullptr; }
    ;
NotBetween
    : NOT BETWEEN                                           { $$ = nullptr; }
    ;
NotLike
    : NOT LIKE                                              { $$ = nullptr; }
    ;
WhereConditions
    : WherePredicate
    | WhereConditions OR WhereConditions                    { $$ = Or($1, $3); }
    | WhereConditions AND WhereConditions                   { $$ = And($1, $3); }
    | NOT WhereConditions                                   { $$ = Not($2); }
    | LEFTPAREN WhereConditions RIGHTPAREN                  { $$ = $2; }
    ;
WherePredicate
    : ValueOrColNameExpression EQUALS ValueOrColNameExpression
                                                            { $$ = Equals($1, $3); }
    | ValueOrColNameExpression NOT_EQUALS ValueOrColNameExpression
                                                            { $$ = NotEquals($1, $3); }
    | ValueOrColNameExpression LESS ValueOrColNameExpression
                                                            { $$ = Less($1, $3); }
    | ValueOrColNameExpression MORE ValueOrColNameExpression
                                                            { $$ = More($1, $3); }
    | ValueOrColNameExpression LESS_EQUALS ValueOrColNameExpression
                                                            { $$ = LessEquals($1, $3); }
    | ValueOrColNameExpression MORE_EQUALS ValueOrColNameExpression
                                                            { $$ = MoreEquals($1, $3); }
    | ValueOrColNameExpression IS NOT SQL_NULL              { $$ = IsNotNull($1); }
    | ValueOrColNameExpression IS SQL_NULL                  { $$ = IsNull($1); }
    | ColName NotIn LEFTPAREN ValueOrColNameExpressionList RIGHTPAREN
                                                            { $$ = NotInList($1, $4); }
    | ValueOrColNameExpression SQL_IN LEFTPAREN ValueOrColNameExpressionList RIGHTPAREN
                                                            { $$ = InList($1, $4); }
    | ColName NotBetween ValueOrColNameExpression AND ValueOrColNameExpression
                                                            { $$ = NotBetween($1, $3, $5); }
    | ValueOrColNameExpression BETWEEN ValueOrColNameExpression AND ValueOrColNameExpression
                                                            { $$ = Between($1, $3, $5); }
    | ColName NotLike String                                { $$ = NotLike($1, $3); }
    | ColName LIKE String                                   { $$ = Like($1, $3); }
    | CASESTATE                                             { $$ = CaseState(); }
    ;
ColName
    : TableName DOT Identifier_QuotesAllowedOrStar          { $$ = QualifiedColumn($1, $3); }
    | Identifier_QuotesAllowed                              { $$ = Column($1); }
    ;
TableName
    : IDENTIFIER                                            { $$ = PlainTableName(); }
    | DQ_STRING_VALUE                                       { $$ = QuotedTableName(); }
    | BRACKETED_VALUE                                       { $$ = BracketedTableName(); }
    | STRING_VALUE                                          { $$ = StringTableName(); }
    ;
TableReferenceList
    : TableReference
    | TableReferenceList COMMA TableReference               { $$ = Append($1, $3); }
    ;
TableReference
    : TableName
    | TableName AS Identifier                               { $$ = TableAlias($1, $3); }
    | TableName Identifier                                  { $$ = ImplicitTableAlias($1, $2); }
    | JoinedTable
    ;
JoinedTable
    : TableReference CROSS JOIN TableReference              { $$ = CrossJoin($1, $4); }
    | TableReference NATURAL JoinType TableReference        { $$ = NaturalJoin($1, $3, $4); }
    | TableReference JoinType TableReference JoinCondition  { $$ = Join($1, $2, $3, $4); }
    | LEFTPAREN JoinedTable RIGHTPAREN                      { $$ = $2; }
    ;
OptionalOuter
    : %empty
    | OUTER                                                 { $$ = nullptr; }
    ;
JoinType
    : JOIN                                                  { $$ = InnerJoin(); }
    | INNER JOIN                                            { $$ = InnerJoin(); }
    | OUTER JOIN                                            { $$ = FullJoin(); }
    | LEFT OptionalOuter JOIN                               { $$ = LeftJoin(); }
    | RIGHT OptionalOuter JOIN                              { $$ = RightJoin(); }
    | FULL OptionalOuter JOIN                               { $$ = FullJoin(); }
    ;
JoinCondition
    : %empty %prec JOIN
    | ON WhereConditions                                    { $$ = JoinOn($2); }
    | USING LEFTPAREN UnqualifiedColumnNameList RIGHTPAREN  { $$ = JoinUsing($3); }
    ;
UnqualifiedColumnNameList
    : UnqualifiedColumnName
    | UnqualifiedColumnNameList COMMA UnqualifiedColumnName
                                                            { $$ = Append($1, $3); }
    ;
UnqualifiedColumnName
    : TableName
    ;
Identifier
    : IDENTIFIER                                            { $$ = PlainIdentifier(); }
    ;
Identifier_QuotesAllowed
    : Identifier
    | DQ_STRING_VALUE                                       { $$ = QuotedIdentifier(); }
    | BRACKETED_VALUE                                       { $$ = BracketedIdentifier(); }
    ;
Identifier_QuotesAllowedOrStar
    : Identifier_QuotesAllowed
    | STAR                                                  { $$ = Star(); }
    ;
SelectExpression
    : SelectExpressionItem
    | MINUS SelectExpression %prec UNARYMINUS               { $$ = Negative($2); }
    | SelectExpression PLUS SelectExpression                { $$ = Plus($1, $3); }
    | SelectExpression MINUS SelectExpression               { $$ = Minus($1, $3); }
    | SelectExpression DIVIDE SelectExpression              { $$ = Divide($1, $3); }
    | SelectExpression STAR SelectExpression                { $$ = Multiply($1, $3); }
    | LEFTPAREN SelectExpression RIGHTPAREN                 { $$ = $2; }
    ;
SelectExpressionItem
    : ValueOrColName
    | Aggregate
    | Function
    | CaseExpression
    ;
ValueOrColName
    : Value
    | ColName
    ;
ValueOrColNameExpression
    : ValueOrColName
    | Aggregate
    | Function
    | CaseExpression
    | MINUS ValueOrColNameExpression %prec UNARYMINUS       { $$ = Negative($2); }
    | ValueOrColNameExpression PLUS ValueOrColNameExpression
                                                            { $$ = Plus($1, $3); }
    | ValueOrColNameExpression MINUS ValueOrColNameExpression
                                                            { $$ = Minus($1, $3); }
    | ValueOrColNameExpression DIVIDE ValueOrColNameExpression
                                                            { $$ = Divide($1, $3); }
    | ValueOrColNameExpression STAR ValueOrColNameExpression
                                                            { $$ = Multiply($1, $3); }
    | LEFTPAREN ValueOrColNameExpression RIGHTPAREN         { $$ = $2; }
    ;
ValueOrColNameExpressionList
    : ValueOrColNameExpression
    | ValueOrColNameExpressionList COMMA ValueOrColNameExpression
                                                            { $$ = Append($1, $3); }
    ;
CaseExpression
    : CaseAbbreviation
    | CaseSpecification
    ;
CaseAbbreviation
    : IF LEFTPAREN WhereConditions COMMA ValueOrColNameExpression COMMA ValueOrColNameExpression RIGHTPAREN
                                                            { $$ = If($3, $5, $7); }
    | NULLIF LEFTPAREN ValueOrColNameExpression COMMA ValueOrColNameExpression RIGHTPAREN
                                                            { $$ = NullIf($3, $5); }
    | COALESCE LEFTPAREN CoalesceItemList RIGHTPAREN        { $$ = Coalesce($3); }
    ;
CoalesceItemList
    : ValueOrColNameExpression                              { $$ = FirstCoalesceItem($1); }
    | CoalesceItemList COMMA ValueOrColNameExpression       { $$ = CoalesceItem($1, $3); }
    ;
CaseSpecification
    : SimpleCaseClause
    | SearchedCaseClause
    ;
SearchedCaseClause
    : CASE SearchedWhenList END                             { $$ = SearchedCase($2, nullptr); }
    | CASE SearchedWhenList ElseClause END                  { $$ = SearchedCase($2, $3); }
    ;
SearchedWhenList
    : SearchedWhenCondition
    | SearchedWhenList SearchedWhenCondition                { $$ = WhenList($1, $2); }
    ;
SearchedWhenCondition
    : WHEN WhereConditions THEN ValueOrColNameExpression    { $$ = SearchedWhen($2, $4); }
    ;
SimpleCaseClause
    : CASE ValueOrColNameExpression SimpleWhenList END      { $$ = SimpleCase($2, $3, nullptr); }
    | CASE ValueOrColNameExpression SimpleWhenList ElseClause END
                                                            { $$ = SimpleCase($2, $3, $4); }
    ;
SimpleWhenList
    : SimpleWhenCondition
    | SimpleWhenList SimpleWhenCondition                    { $$ = WhenList($1, $2); }
    ;
SimpleWhenCondition
    : WHEN ValueOrColNameExpression THEN ValueOrColNameExpression
                                                            { $$ = SimpleWhen($2, $4); }
    ;
ElseClause
    : ELSE ValueOrColNameExpression                         { $$ = Else($2); }
    ;
GroupByClause
    : %empty
    | SQL_GROUP BY GroupColList                             { $$ = $3; }
    ;
GroupColList
    : GroupColItem
    | GroupColList COMMA GroupColItem                       { $$ = Append($1, $3); }
    ;
GroupColItem
    : ColName
    | Number
    ;
HavingClause
    : %empty
    | HAVING WhereConditions                                { $$ = $2; }
    ;
OrderClause
    : %empty
    | ORDER BY OrderColList                                 { $$ = $3; }
    ;
OrderColList
    : OrderCol
    | OrderColList COMMA OrderCol                           { $$ = Append($1, $3); }
    ;
OrderCol
    : OrderColItem                                          { $$ = OrderAsc($1); }
    | OrderColItem ASC                                      { $$ = OrderAsc($1); }
    | OrderColItem DESC                                     { $$ = OrderDesc($1); }
    ;
OrderColItem
    : ColName
    | Number
    ;
Value
    : LiteralValue
    ;
Function
    : MathFunction
    | DateFunction
    ;
MathFunction
    : ABS LEFTPAREN ValueOrColNameExpression RIGHTPAREN     { $$ = Abs($3); }
    | ROUND LEFTPAREN ValueOrColNameExpression RIGHTPAREN   { $$ = Round($3); }
    | ROUND LEFTPAREN ValueOrColNameExpression COMMA Number RIGHTPAREN
                                                            { $$ = Round($3, $5); }
    ;
DateFunction
    : GETDATE LEFTPAREN RIGHTPAREN                          { $$ = GetDate(); }
    ;
Aggregate
    : AggregateFunction LEFTPAREN AllDistinct ValueOrColNameExpression RIGHTPAREN
                                                            { $$ = Aggregate($1, $3, $4); }
    | COUNT LEFTPAREN AllDistinct ValueOrColNameExpression RIGHTPAREN
                                                            { $$ = Count($3, $4); }
    | COUNT LEFTPAREN STAR RIGHTPAREN                       { $$ = CountStar(); }
    ;
AggregateFunction
    : SUM                                                   { $$ = Sum(); }
    | AVG                                                   { $$ = Avg(); }
    | MAX                                                   { $$ = Max(); }
    | MIN                                                   { $$ = Min(); }
    | STDEV                                                 { $$ = StDev(); }
    | FIRST                                                 { $$ = First(); }
    | LAST                                                  { $$ = Last(); }
    | VAR                                                   { $$ = Var(); }
    ;
ColDataTypeList
    : Identifier DataType                                   { $$ = ColumnDefinition($1, $2); }
    | ColDataTypeList COMMA Identifier DataType             { $$ = AppendColumnDefinition($1, $3, $4); }
    ;
DataType
    : CHAR_DATATYPE LEFTPAREN Number RIGHTPAREN             { $$ = CharType($3); }
    | INTEGER_DATATYPE                                      { $$ = IntegerType(); }
    | FLOAT_DATATYPE                                        { $$ = FloatType(); }
    | SMALLINT_DATATYPE                                     { $$ = SmallIntType(); }
    ;
LiteralValue
    : Number
    | Float
    | String
    | TimeStampLiteral
    | TimeLiteral
    | DateLiteral
    ;
Number          : NUMBER_VALUE                              { $$ = NumberValue(); } ;
Float           : FLOAT_VALUE                               { $$ = FloatValue(); } ;
String          : STRING_VALUE                              { $$ = StringValue(); } ;
TimeStampLiteral: TIMESTAMP_VALUE                           { $$ = TimeStampValue(); } ;
DateLiteral     : DATE_VALUE                                { $$ = DateValue(); } ;
TimeLiteral     : TIME_VALUE                                { $$ = TimeValue(); } ;

%%

#include "scanner/grammar_tables.h"

#include <vector>

#include "scanner/symbols.h"

// The numbering scanner/grammar.py derived from this file agrees with bison's (which
// counts its own start rule and $accept as well).
static_assert(YYNTOKENS == kTerminalCount, "terminal count");
static_assert(YYNNTS == kNonterminalCount + 1, "nonterminal count");
static_assert(YYNRULES == kRuleCount + 1, "rule count");

namespace {

template <class T, size_t N> std::vector<int16_t> Widen(const T (&table)[N]) {
    return std::vector<int16_t>(table, table + N);
}

struct OwnedTables {
    std::vector<int16_t> pact, defact, pgoto, defgoto, table, check, stos, r1, r2, rline, translate;
    GrammarTables view;

    OwnedTables()
        : pact(Widen(yypact)), defact(Widen(yydefact)), pgoto(Widen(yypgoto)), defgoto(Widen(yydefgoto)),
          table(Widen(yytable)), check(Widen(yycheck)), stos(Widen(yystos)), r1(Widen(yyr1)), r2(Widen(yyr2)),
          rline(Widen(yyrline)), translate(Widen(yytranslate)) {
        view = GrammarTables{pact.data(),  defact.data(), pgoto.data(), defgoto.data(), table.data(),
                             check.data(), stos.data(),   r1.data(),    r2.data(),      rline.data(),
                             translate.data(), YYFINAL,   YYLAST,       YYNTOKENS,      YYNNTS,
                             YYNRULES,     YYNSTATES,     YYPACT_NINF,  YYTABLE_NINF,   yytname};
    }
};

} // namespace

const GrammarTables& GetGrammarTables() {
    static const OwnedTables tables;
    return tables.view;
}
