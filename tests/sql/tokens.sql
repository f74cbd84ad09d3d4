select * from t;
a != b <> c ( ) * + - / , = > < >= <=
#$?!;}
`a`
1e5 12e-05 1.5E10 .5 007
5.
1.2.3 1abc -5 1e
'it''s' '' "my col" "a""b" [a b]
'''
'a\', 'b'
'a\'b'
'abc
[a]]b]
[a\]b]
[abc
]
{ts '2001-01-01 10:00:00'} { TS 'x' } {d '2001-01-01'} {D"'x'"} {t '10:00'}
{ts'x'}
{x 'y'}
LIKE DROP GETDATE ROUND ABS HAVING NULL ALL DISTINCT TOP PERCENT LIMIT AS NOT IS AND VALUES DELETE UPDATE INSERT
into set where order group by asc desc or select create from max min avg count sum stdev first last var table
SMALLINT INTEGER CHAR FLOAT JOIN CROSS NATURAL INNER OUTER LEFT RIGHT FULL USING ON UNION EXCEPT INTERSECT CASE WHEN
then else end nullif coalesce if in between sElEcT
SELECTx selected VARCHAR INT EXISTS _x1 t.x nullx
CASESTATE_selected casestate_label CaseState_marked CASESTATE_ CASESTATE_1 CASESTATEx
CASESTATE (hidden) (label)
CASESTATE = marked = label
CASESTATE-marked
CASESTATE (	excluded )
CASESTATE ("hidden")
CASESTATE = "marked"
CASESTATE - marked (hidden)
CASESTATE x = label
CASESTATE (Foo) (hidden)
CASESTATE (hidden)x
CASESTATE_foo
