<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="de_DE">
<context>
    <name>ColorTableEditorWidget</name>
    <message>
        <source>Form</source>
        <translation>Formular</translation>
    </message>
    <message>
        <source>Reset to defaults</source>
        <translation>Auf Standardwerte zurücksetzen</translation>
    </message>
    <message>
        <source>Auto adjust levels</source>
        <translation>Pegel automatisch anpassen</translation>
    </message>
</context>
<context>
    <name>mivo::DefaultFormatters</name>
    <message>
        <source>%1 KHz</source>
        <extracomment>A frequency in kilohertz; the source text writes &quot;KHz&quot; on purpose.</extracomment>
        <translation>%L1 kHz</translation>
    </message>
    <message>
        <source>dd MMM yy HH:mm:ss.zzz</source>
        <extracomment>A QDateTime::toString() pattern for a time of day with its date.</extracomment>
        <translation>dd.MM.yy HH:mm:ss.zzz</translation>
    </message>
    <message>
        <source>%1 dBµV</source>
        <extracomment>A level in decibel microvolt.</extracomment>
        <translation>%L1 dBµV</translation>
    </message>
</context>
<context>
    <name>mivo::tiling::TileColorTableEditorWidget</name>
    <message>
        <source>dbµV</source>
        <translation>dBµV</translation>
    </message>
    <message>
        <source>Select gradient color</source>
        <translation>Verlaufsfarbe auswählen</translation>
    </message>
</context>
<context>
    <name>mivo::tiling::TileSourceSelectionWidget</name>
    <message>
        <source>None</source>
        <translation>Keine</translation>
    </message>
    <message>
        <source>%1
%2 - %3
%4 - %5</source>
        <extracomment>A tile source&apos;s button: its name, its frequency range, its time range.</extracomment>
        <translation>%1
%2 – %3
%4 – %5</translation>
    </message>
</context>
</TS>
