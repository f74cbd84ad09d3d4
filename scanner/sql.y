/* The SQL grammar: 210 rules over 95 tokens and 74 nonterminals, start symbol Command.
 *
 * This file only defines the language and its parse tables. The tables are driven by
 * our own parser driver (parsetree/driver.cpp), which runs the tree-building action of
 * each rule by its number (parsetree/actions.cpp); bison's own yyparse is not used.
 * Keep the rule order: the rule numbers 1 to 210 are the keys of those actions.
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
 * - UNION ALL (rule 5, marked EVAL_PRIORITY) yields to any following set operator, so
 *   A UNION ALL B op C reads A UNION ALL (B op C); UNION, INTERSECT and EXCEPT group
 *   to the left on one level.
 * - TOP yields to a following number: that number is TOP's count.
 * - A join keyword after a complete join reduces first (joins group to the left); the
 *   empty join condition (rule 101, marked JOIN) reduces before another join keyword,
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
    : SQL_Statement                                         /* 1 */
    | DDL_Statement                                         /* 2 */
    | SetOperations_Statement                               /* 3 */
    ;
SetOperations_Statement
    : SetOperand UNION SetOperand                           /* 4 */
    | SetOperand UNION ALL SetOperand %prec EVAL_PRIORITY   /* 5 */
    | SetOperand INTERSECT SetOperand                       /* 6 */
    | SetOperand EXCEPT SetOperand                          /* 7 */
    ;
SetOperand
    : SetOperations_Statement                               /* 8 */
    | SQL_Statement                                         /* 9 */
    | %empty                                                /* 10 */
    | LEFTPAREN SetOperand RIGHTPAREN                       /* 11 */
    ;
SQL_Statement
    : SELECT Top AllDistinct SelectElementList FROM TableReferenceList WhereClause GroupByClause HavingClause OrderClause LimitClause  /* 12 */
    | SELECT Top AllDistinct STAR FROM TableReferenceList WhereClause GroupByClause HavingClause OrderClause LimitClause               /* 13 */
    | TableReferenceList WhereClause GroupByClause HavingClause OrderClause    /* 14 */
    | SQL_DELETE FROM Identifier WhereClause                /* 15 */
    | UPDATE Identifier SET UpdateList WhereClause          /* 16 */
    | INSERT INTO Identifier InsertColSpec VALUES LEFTPAREN InsertValueList RIGHTPAREN  /* 17 */
    ;
DDL_Statement
    : CREATE TABLE Identifier LEFTPAREN ColDataTypeList RIGHTPAREN  /* 18 */
    | DROP TABLE Identifier                                 /* 19 */
    ;
AllDistinct
    : %empty                                                /* 20 */
    | ALL                                                   /* 21 */
    | DISTINCT                                              /* 22 */
    ;
Top
    : %empty                                                /* 23 */
    | TOP                                                   /* 24 */
    | TOP Number                                            /* 25 */
    | TOP Number PERCENT                                    /* 26 */
    | TOP Float PERCENT                                     /* 27 */
    ;
LimitClause
    : %empty                                                /* 28 */
    | LIMIT Number                                          /* 29 */
    | LIMIT Number COMMA Number                             /* 30 */
    ;
SelectElementList
    : SelectExpressionAsName                                /* 31 */
    | SelectElementList COMMA SelectExpressionAsName        /* 32 */
    ;
SelectExpressionAsName
    : SelectExpression                                      /* 33 */
    | SelectExpression AS Identifier_QuotesAllowed          /* 34 */
    | SelectExpression AS STRING_VALUE                      /* 35 */
    ;
InsertColSpec
    : LEFTPAREN ColList RIGHTPAREN                          /* 36 */
    | %empty                                                /* 37 */
    ;
ColList
    : ColName                                               /* 38 */
    | ColList COMMA ColName                                 /* 39 */
    ;
InsertValueList
    : ConstantExpression                                    /* 40 */
    | InsertValueList COMMA ConstantExpression              /* 41 */
    ;
WhereClause
    : %empty                                                /* 42 */
    | WHERE WhereConditions                                 /* 43 */
    ;
ConstantExpression
    : Value                                                 /* 44 */
    | MINUS ConstantExpression %prec UNARYMINUS             /* 45 */
    | ConstantExpression PLUS ConstantExpression            /* 46 */
    | ConstantExpression MINUS ConstantExpression           /* 47 */
    | ConstantExpression DIVIDE ConstantExpression          /* 48 */
    | ConstantExpression STAR ConstantExpression            /* 49 */
    | LEFTPAREN ConstantExpression RIGHTPAREN               /* 50 */
    ;
UpdateList
    : UpdateValue                                           /* 51 */
    | UpdateList COMMA UpdateValue                          /* 52 */
    ;
UpdateValue
    : ColName EQUALS ValueOrColNameExpression               /* 53 */
    ;
NotIn
    : NOT SQL_IN                                            /* 54 */
    ;
NotBetween
    : NOT BETWEEN                                           /* 55 */
    ;
NotLike
    : NOT LIKE                                              /* 56 */
    ;
WhereConditions
    : WherePredicate                                        /* 57 */
    | WhereConditions OR WhereConditions                    /* 58 */
    | WhereConditions AND WhereConditions                   /* 59 */
    | NOT WhereConditions                                   /* 60 */
    | LEFTPAREN WhereConditions RIGHTPAREN                  /* 61 */
    ;
WherePredicate
    : ValueOrColNameExpression EQUALS ValueOrColNameExpression          /* 62 */
    | ValueOrColNameExpression NOT_EQUALS ValueOrColNameExpression      /* 63 */
    | ValueOrColNameExpression LESS ValueOrColNameExpression            /* 64 */
    | ValueOrColNameExpression MORE ValueOrColNameExpression            /* 65 */
    | ValueOrColNameExpression LESS_EQUALS ValueOrColNameExpression     /* 66 */
    | ValueOrColNameExpression MORE_EQUALS ValueOrColNameExpression     /* 67 */
    | ValueOrColNameExpression IS NOT SQL_NULL                          /* 68 */
    | ValueOrColNameExpression IS SQL_NULL                              /* 69 */
    | ColName NotIn LEFTPAREN ValueOrColNameExpressionList RIGHTPAREN   /* 70 */
    | ValueOrColNameExpression SQL_IN LEFTPAREN ValueOrColNameExpressionList RIGHTPAREN  /* 71 */
    | ColName NotBetween ValueOrColNameExpression AND ValueOrColNameExpression          /* 72 */
    | ValueOrColNameExpression BETWEEN ValueOrColNameExpression AND ValueOrColNameExpression  /* 73 */
    | ColName NotLike String                                /* 74 */
    | ColName LIKE String                                   /* 75 */
    | CASESTATE                                             /* 76 */
    ;
ColName
    : TableName DOT Identifier_QuotesAllowedOrStar          /* 77 */
    | Identifier_QuotesAllowed                              /* 78 */
    ;
TableName
    : IDENTIFIER                                            /* 79 */
    | DQ_STRING_VALUE                                       /* 80 */
    | BRACKETED_VALUE                                       /* 81 */
    | STRING_VALUE                                          /* 82 */
    ;
TableReferenceList
    : TableReference                                        /* 83 */
    | TableReferenceList COMMA TableReference               /* 84 */
    ;
TableReference
    : TableName                                             /* 85 */
    | TableName AS Identifier                               /* 86 */
    | TableName Identifier                                  /* 87 */
    | JoinedTable                                           /* 88 */
    ;
JoinedTable
    : TableReference CROSS JOIN TableReference              /* 89 */
    | TableReference NATURAL JoinType TableReference        /* 90 */
    | TableReference JoinType TableReference JoinCondition  /* 91 */
    | LEFTPAREN JoinedTable RIGHTPAREN                      /* 92 */
    ;
OptionalOuter
    : %empty                                                /* 93 */
    | OUTER                                                 /* 94 */
    ;
JoinType
    : JOIN                                                  /* 95 */
    | INNER JOIN                                            /* 96 */
    | OUTER JOIN                                            /* 97 */
    | LEFT OptionalOuter JOIN                               /* 98 */
    | RIGHT OptionalOuter JOIN                              /* 99 */
    | FULL OptionalOuter JOIN                               /* 100 */
    ;
JoinCondition
    : %empty %prec JOIN                                     /* 101 */
    | ON WhereConditions                                    /* 102 */
    | USING LEFTPAREN UnqualifiedColumnNameList RIGHTPAREN  /* 103 */
    ;
UnqualifiedColumnNameList
    : UnqualifiedColumnName                                 /* 104 */
    | UnqualifiedColumnNameList COMMA UnqualifiedColumnName /* 105 */
    ;
UnqualifiedColumnName
    : TableName                                             /* 106 */
    ;
Identifier
    : IDENTIFIER                                            /* 107 */
    ;
Identifier_QuotesAllowed
    : Identifier                                            /* 108 */
    | DQ_STRING_VALUE                                       /* 109 */
    | BRACKETED_VALUE                                       /* 110 */
    ;
Identifier_QuotesAllowedOrStar
    : Identifier_QuotesAllowed                              /* 111 */
    | STAR                                                  /* 112 */
    ;
SelectExpression
    : SelectExpressionItem                                  /* 113 */
    | MINUS SelectExpression %prec UNARYMINUS               /* 114 */
    | SelectExpression PLUS SelectExpression                /* 115 */
    | SelectExpression MINUS SelectExpression               /* 116 */
    | SelectExpression DIVIDE SelectExpression              /* 117 */
    | SelectExpression STAR SelectExpression                /* 118 */
    | LEFTPAREN SelectExpression RIGHTPAREN                 /* 119 */
    ;
SelectExpressionItem
    : ValueOrColName                                        /* 120 */
    | Aggregate                                             /* 121 */
    | Function                                              /* 122 */
    | CaseExpression                                        /* 123 */
    ;
ValueOrColName
    : Value                                                 /* 124 */
    | ColName                                               /* 125 */
    ;
ValueOrColNameExpression
    : ValueOrColName                                        /* 126 */
    | Aggregate                                             /* 127 */
    | Function                                              /* 128 */
    | CaseExpression                                        /* 129 */
    | MINUS ValueOrColNameExpression %prec UNARYMINUS       /* 130 */
    | ValueOrColNameExpression PLUS ValueOrColNameExpression    /* 131 */
    | ValueOrColNameExpression MINUS ValueOrColNameExpression   /* 132 */
    | ValueOrColNameExpression DIVIDE ValueOrColNameExpression  /* 133 */
    | ValueOrColNameExpression STAR ValueOrColNameExpression    /* 134 */
    | LEFTPAREN ValueOrColNameExpression RIGHTPAREN         /* 135 */
    ;
ValueOrColNameExpressionList
    : ValueOrColNameExpression                              /* 136 */
    | ValueOrColNameExpressionList COMMA ValueOrColNameExpression  /* 137 */
    ;
CaseExpression
    : CaseAbbreviation                                      /* 138 */
    | CaseSpecification                                     /* 139 */
    ;
CaseAbbreviation
    : IF LEFTPAREN WhereConditions COMMA ValueOrColNameExpression COMMA ValueOrColNameExpression RIGHTPAREN  /* 140 */
    | NULLIF LEFTPAREN ValueOrColNameExpression COMMA ValueOrColNameExpression RIGHTPAREN  /* 141 */
    | COALESCE LEFTPAREN CoalesceItemList RIGHTPAREN        /* 142 */
    ;
CoalesceItemList
    : ValueOrColNameExpression                              /* 143 */
    | CoalesceItemList COMMA ValueOrColNameExpression       /* 144 */
    ;
CaseSpecification
    : SimpleCaseClause                                      /* 145 */
    | SearchedCaseClause                                    /* 146 */
    ;
SearchedCaseClause
    : CASE SearchedWhenList END                             /* 147 */
    | CASE SearchedWhenList ElseClause END                  /* 148 */
    ;
SearchedWhenList
    : SearchedWhenCondition                                 /* 149 */
    | SearchedWhenList SearchedWhenCondition                /* 150 */
    ;
SearchedWhenCondition
    : WHEN WhereConditions THEN ValueOrColNameExpression    /* 151 */
    ;
SimpleCaseClause
    : CASE ValueOrColNameExpression SimpleWhenList END      /* 152 */
    | CASE ValueOrColNameExpression SimpleWhenList ElseClause END  /* 153 */
    ;
SimpleWhenList
    : SimpleWhenCondition                                   /* 154 */
    | SimpleWhenList SimpleWhenCondition                    /* 155 */
    ;
SimpleWhenCondition
    : WHEN ValueOrColNameExpression THEN ValueOrColNameExpression  /* 156 */
    ;
ElseClause
    : ELSE ValueOrColNameExpression                         /* 157 */
    ;
GroupByClause
    : %empty                                                /* 158 */
    | SQL_GROUP BY GroupColList                             /* 159 */
    ;
GroupColList
    : GroupColItem                                          /* 160 */
    | GroupColList COMMA GroupColItem                       /* 161 */
    ;
GroupColItem
    : ColName                                               /* 162 */
    | Number                                                /* 163 */
    ;
HavingClause
    : %empty                                                /* 164 */
    | HAVING WhereConditions                                /* 165 */
    ;
OrderClause
    : %empty                                                /* 166 */
    | ORDER BY OrderColList                                 /* 167 */
    ;
OrderColList
    : OrderCol                                              /* 168 */
    | OrderColList COMMA OrderCol                           /* 169 */
    ;
OrderCol
    : OrderColItem                                          /* 170 */
    | OrderColItem ASC                                      /* 171 */
    | OrderColItem DESC                                     /* 172 */
    ;
OrderColItem
    : ColName                                               /* 173 */
    | Number                                                /* 174 */
    ;
Value
    : LiteralValue                                          /* 175 */
    ;
Function
    : MathFunction                                          /* 176 */
    | DateFunction                                          /* 177 */
    ;
MathFunction
    : ABS LEFTPAREN ValueOrColNameExpression RIGHTPAREN     /* 178 */
    | ROUND LEFTPAREN ValueOrColNameExpression RIGHTPAREN   /* 179 */
    | ROUND LEFTPAREN ValueOrColNameExpression COMMA Number RIGHTPAREN  /* 180 */
    ;
DateFunction
    : GETDATE LEFTPAREN RIGHTPAREN                          /* 181 */
    ;
Aggregate
    : AggregateFunction LEFTPAREN AllDistinct ValueOrColNameExpression RIGHTPAREN  /* 182 */
    | COUNT LEFTPAREN AllDistinct ValueOrColNameExpression RIGHTPAREN  /* 183 */
    | COUNT LEFTPAREN STAR RIGHTPAREN                       /* 184 */
    ;
AggregateFunction
    : SUM                                                   /* 185 */
    | AVG                                                   /* 186 */
    | MAX                                                   /* 187 */
    | MIN                                                   /* 188 */
    | STDEV                                                 /* 189 */
    | FIRST                                                 /* 190 */
    | LAST                                                  /* 191 */
    | VAR                                                   /* 192 */
    ;
ColDataTypeList
    : Identifier DataType                                   /* 193 */
    | ColDataTypeList COMMA Identifier DataType             /* 194 */
    ;
DataType
    : CHAR_DATATYPE LEFTPAREN Number RIGHTPAREN             /* 195 */
    | INTEGER_DATATYPE                                      /* 196 */
    | FLOAT_DATATYPE                                        /* 197 */
    | SMALLINT_DATATYPE                                     /* 198 */
    ;
LiteralValue
    : Number                                                /* 199 */
    | Float                                                 /* 200 */
    | String                                                /* 201 */
    | TimeStampLiteral                                      /* 202 */
    | TimeLiteral                                           /* 203 */
    | DateLiteral                                           /* 204 */
    ;
Number          : NUMBER_VALUE    ;                         /* 205 */
Float           : FLOAT_VALUE     ;                         /* 206 */
String          : STRING_VALUE    ;                         /* 207 */
TimeStampLiteral: TIMESTAMP_VALUE ;                         /* 208 */
DateLiteral     : DATE_VALUE      ;                         /* 209 */
TimeLiteral     : TIME_VALUE      ;                         /* 210 */

%%

#include "scanner/grammar_tables.h"

#include <vector>

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
                             YYNRULES,     YYNSTATES,     YYPACT_NINF,  YYTABLE_NINF,   YYMAXUTOK,
                             yytname};
    }
};

} // namespace

const GrammarTables& GetGrammarTables() {
    static const OwnedTables tables;
    return tables.view;
}
