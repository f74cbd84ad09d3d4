SELECT * FROM t WHERE a = 1 AND b > 2 OR NOT c = 1
SELECT * FROM t WHERE x IS NULL AND x IS NOT NULL
SELECT * FROM t WHERE x LIKE 'a%' OR x NOT LIKE 'a%'
SELECT * FROM t WHERE x BETWEEN 1 AND 5 AND x NOT BETWEEN 1 AND 5
SELECT * FROM t WHERE x IN (1, 2, 3) AND x NOT IN (1, 2) AND x IN (1)
SELECT * FROM t WHERE a <> b OR c < d OR e <= f OR g >= h
SELECT * FROM t WHERE CASESTATE_selected
SELECT * FROM t WHERE CASESTATE = marked AND a = 1
SELECT * FROM t WHERE CASESTATE (hidden) OR CASESTATE-label OR CASESTATE_excluded
SELECT (a + b) * c, a - b / 2, -x, -5 FROM t
SELECT ABS(x), ROUND(x), ROUND(x, 2), GETDATE() FROM t
SELECT COUNT(*), COUNT(DISTINCT x), SUM(ALL x), AVG(a), MIN(a), MAX(a), STDEV(a), FIRST(a), LAST(a), VAR(a) FROM t
SELECT t.c, t.*, 1.5, 'it''s', "dq", [br], {ts 'a'}, {d 'b'}, {t 'c'} FROM t
SELECT NULLIF(a, b), IF(c = 1, t, f), COALESCE(a, b, c) FROM t
SELECT CASE WHEN c1 = 1 THEN t1 END, CASE WHEN c1 = 1 THEN t1 WHEN c2 = 2 THEN t2 ELSE e END FROM t
SELECT CASE x WHEN 1 THEN 'a' END, CASE x WHEN 1 THEN 'a' ELSE 'b' END FROM t
SELECT a + 1 AS total, b, c AS "x y", d AS [z], e AS 'w' FROM t
