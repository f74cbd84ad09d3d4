select (a + b) * c, a - (b - c), (a - b) - c, -a * b, -(a * b), - -a, 0 - a from t
t where not (a = 1 and b = 2) or (c = 3 or d = 4) and e = 5
t where x not in (1, 2) and y not between 1 and 2 and z not like 'a%' and w is not null
t where x >= 1 and x <= 2 or x = 1 or x = 2
select case x when 1 then 'a' when 2 then 'b' else 'c' end, case when a = 1 then 2 end from t
select if(a > 1, b, c), nullif(a, b), coalesce(a, b, c), round(a), count(distinct a) from t
select top 50 percent distinct [my col] as "x y", "select".a from a x join (b cross join c) on x.k = b.k natural left outer join d limit 5
select a from t union all (select b from u except select c from v)
create table t (a char(40000), b smallint)
DELETE FROM a UNION DELETE FROM b
(SELECT a FROM t UNION DELETE FROM u) EXCEPT (SELECT b FROM u UNION SELECT c FROM v)
SELECT a FROM t UNION (DELETE FROM t UNION SELECT b FROM u) UNION SELECT c FROM v
