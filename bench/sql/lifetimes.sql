-- What bench/lifetimes measures. Each round is one part of the transactions under each lifetime, in
-- turns; the smallest round of each counts.
create schema bench;
create table bench.text as
    select '<orders>' || string_agg(format('<order id="%s"><item>%s</item></order>', n, n * 7), '')
        || '</orders>' as content
    from generate_series(1, 20) as n;
create table bench.result (what text, figure numeric, is_good boolean);
create unlogged table bench.round (side text, seconds double precision);

create function bench.read(doc xmldom.document) returns bigint language sql as $$
    select count(xmldom.get_attribute(each, 'id')) from xmldom.descendants(doc, 'order') as each
$$;
-- Kilobytes that the process has in memory.
create function bench.resident() returns bigint language sql volatile as $$
    select cast(substring(pg_read_file('/proc/self/status', 0, 10000) from 'VmRSS:\s+(\d+)') as bigint)
$$;

create procedure bench.transactions(side text, count integer) language plpgsql as $$
declare
    source text := (select content from bench.text);
    doc xmldom.document;
    found bigint;
    began timestamptz;
begin
    perform set_config('pkg_dbe_xml.lifetime', side, false);
    began := clock_timestamp();
    if side = 'transaction' then
        for i in 1 .. count loop
            doc := xmldom.parse(source);
            found := bench.read(doc);
            commit;
        end loop;
    else
        for i in 1 .. count loop
            doc := xmldom.parse(source);
            found := bench.read(doc);
            doc := xmldom.free_document(doc);
            commit;
        end loop;
    end if;
    insert into bench.round values (side, extract(epoch from clock_timestamp() - began));
end
$$;

-- Calls of one function, and documents made and freed, in one transaction.
create procedure bench.calls(side text) language plpgsql as $$
declare
    source text := (select content from bench.text);
    doc xmldom.document;
    top xmldom.element;
    began timestamptz;
begin
    perform set_config('pkg_dbe_xml.lifetime', side, false);
    doc := xmldom.parse(source);
    top := xmldom.get_document_element(doc);
    began := clock_timestamp();
    for i in 1 .. 200000 loop
        perform xmldom.get_tag_name(top);
    end loop;
    insert into bench.round values ('calls ' || side, extract(epoch from clock_timestamp() - began));
    doc := xmldom.free_document(doc);
    began := clock_timestamp();
    for i in 1 .. 10000 loop
        doc := xmldom.free_document(xmldom.parse(source));
    end loop;
    insert into bench.round values ('parses ' || side, extract(epoch from clock_timestamp() - began));
    commit;
end
$$;

create function bench.note(what text, figure numeric, is_good boolean) returns void language plpgsql as $$
begin
    insert into bench.result values ($1, $2, $3);
    raise notice '% %', rpad($1, 66), round($2, 3);
end
$$;
create function bench.best(name text) returns numeric language sql as $$
    select cast(min(seconds) as numeric) from bench.round where side = name
$$;

create procedure bench.run(transactions integer) language plpgsql as $$
declare
    rounds constant integer := 10;
    part constant integer := greatest(transactions / rounds, 1);
    early bigint;
    late bigint;
    held bigint;
    told text := '';
begin
    for i in 1 .. rounds loop
        call bench.transactions('transaction', part);
        call bench.transactions('session', part);
        call bench.calls('transaction');
        call bench.calls('session');
        told := told || ' ' || bench.resident();
        if i = rounds / 2 then
            early := bench.resident();
            held := (select bytes from xmldom.session);
        end if;
    end loop;
    late := bench.resident(); -- before what is told takes some itself
    raise notice 'kilobytes of the process after each round:%', told;
    perform bench.note('transactions under each lifetime', part * rounds, true);
    perform bench.note('microseconds each, freed by hand', bench.best('session') / part * 1e6, true);
    perform bench.note('microseconds each, ended by the transaction',
        bench.best('transaction') / part * 1e6, true);
    perform bench.note('ratio of the two, at most 1.05', bench.best('transaction') / bench.best('session'),
        bench.best('transaction') <= 1.05 * bench.best('session'));
    perform bench.note('ratio of calls under the two lifetimes, about 1',
        bench.best('calls transaction') / bench.best('calls session'), true);
    perform bench.note('ratio of parses under the two lifetimes, about 1',
        bench.best('parses transaction') / bench.best('parses session'), true);
    perform bench.note('bytes of trees and handles held at the end beyond those at half',
        (select bytes from xmldom.session) - held, (select bytes from xmldom.session) = held);
    perform bench.note('kilobytes of the process at the end beyond those at half, below 1024',
        late - early, late - early < 1024);
end
$$;
