<!ENTITY % entries "entry|group">
<!ELEMENT entry (#PCDATA|em)*>
<!ATTLIST entry id ID #REQUIRED see IDREFS #IMPLIED class NMTOKENS #IMPLIED>
<!ELEMENT em (#PCDATA)>
<!ELEMENT group (entry+)>
<!ATTLIST group id ID #IMPLIED name CDATA #FIXED "g">
