-- The settings of the extension: their defaults, bounds and who may change them.
\set VERBOSITY default
LOAD 'pkg_dbe_xml';
SELECT name, setting, unit, context, vartype, min_val, boot_val FROM pg_settings
    WHERE name LIKE 'pkg_dbe_xml.%' ORDER BY name COLLATE "C";
SHOW pkg_dbe_xml.parse_budget_base;
SET pkg_dbe_xml.max_depth = 0;
SET pkg_dbe_xml.max_depth = 10;
SHOW pkg_dbe_xml.max_depth;
RESET pkg_dbe_xml.max_depth;
CREATE ROLE pkg_dbe_xml_reader;
SET ROLE pkg_dbe_xml_reader;
SET pkg_dbe_xml.max_depth = 10;
SET pkg_dbe_xml.safe_data_path = '';
SHOW pkg_dbe_xml.safe_data_path;
RESET ROLE;
DROP ROLE pkg_dbe_xml_reader;
