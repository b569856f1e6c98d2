<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="de" sourcelanguage="en">
<context>
    <name>MatchType</name>
    <message>
        <source>Contains</source>
        <translation>Enthält</translation>
    </message>
    <message>
        <source>Domain</source>
        <translation>Domain</translation>
    </message>
    <message>
        <source>Starts With</source>
        <translation>Beginnt mit</translation>
    </message>
    <message>
        <source>Regex</source>
        <translation>Regex</translation>
    </message>
</context>
<context>
    <name>MenuBarManager</name>
    <message>
        <source>Vantorel — Settings</source>
        <comment>title of the settings window</comment>
        <translation>Vantorel – Einstellungen</translation>
    </message>
    <message>
        <source>No browser configured</source>
        <comment>what the warning icon says</comment>
        <translation>Kein Browser eingerichtet</translation>
    </message>
    <message>
        <source>Settings</source>
        <comment>menu of the icon</comment>
        <translation>Einstellungen</translation>
    </message>
    <message>
        <source>Quit Vantorel</source>
        <comment>menu of the icon</comment>
        <translation>Vantorel beenden</translation>
    </message>
</context>
<context>
    <name>RuleList</name>
    <message>
        <source>Edit</source>
        <translation>Bearbeiten</translation>
    </message>
    <message>
        <source>Delete</source>
        <translation>Löschen</translation>
    </message>
    <message>
        <source>Move Up</source>
        <translation>Nach oben</translation>
    </message>
    <message>
        <source>Move Down</source>
        <translation>Nach unten</translation>
    </message>
    <message>
        <source>%1: %2</source>
        <comment>match type and pattern</comment>
        <translation>%1: %2</translation>
    </message>
    <message>
        <source>%1 → %2</source>
        <comment>what a rule matches, and its browser</comment>
        <translation>%1 → %2</translation>
    </message>
    <message>
        <source>Select</source>
        <translation>Auswählen</translation>
    </message>
</context>
<context>
    <name>RuleRow</name>
    <message>
        <source>%1:</source>
        <comment>match type, before a pattern</comment>
        <translation>%1:</translation>
    </message>
</context>
<context>
    <name>vantorel::MenuBarView</name>
    <message>
        <source>App Rule</source>
        <translation>App-Regel</translation>
    </message>
    <message>
        <source>by %1</source>
        <comment>the maker</comment>
        <translation>von %1</translation>
    </message>
    <message>
        <source>Last Intercept</source>
        <translation>Zuletzt abgefangen</translation>
    </message>
    <message>
        <source>Settings</source>
        <translation>Einstellungen</translation>
    </message>
    <message>
        <source>Quit Vantorel</source>
        <translation>Vantorel beenden</translation>
    </message>
    <message>
        <source>Routing Rules</source>
        <translation>Weiterleitungsregeln</translation>
    </message>
    <message>
        <source>No URLs intercepted yet.</source>
        <translation>Noch keine Links abgefangen.</translation>
    </message>
    <message>
        <source>Source: unknown</source>
        <translation>Quelle: unbekannt</translation>
    </message>
    <message>
        <source>Source: %1</source>
        <translation>Quelle: %1</translation>
    </message>
    <message>
        <source>No rules — open Settings to add one.</source>
        <translation>Keine Regeln – in Einstellungen anlegen.</translation>
    </message>
    <message>
        <source>+ %1 more in Settings</source>
        <translation>+ %1 weitere in Einstellungen</translation>
    </message>
</context>
<context>
    <name>vantorel::RuleEditor</name>
    <message>
        <source>Invalid regex &apos;%1&apos;: %2</source>
        <translation>Ungültiger regulärer Ausdruck „%1“: %2</translation>
    </message>
    <message>
        <source>Edit Rule</source>
        <translation>Regel bearbeiten</translation>
    </message>
    <message>
        <source>Add Rule</source>
        <translation>Regel hinzufügen</translation>
    </message>
    <message>
        <source>Save Changes</source>
        <translation>Änderungen speichern</translation>
    </message>
    <message>
        <source>e.g.  app.example.com, docs.example.com</source>
        <translation>z.&#xa0;B.  app.example.com, docs.example.com</translation>
    </message>
    <message>
        <source>e.g.  www.example.com, mail.example.com</source>
        <translation>z.&#xa0;B.  www.example.com, mail.example.com</translation>
    </message>
    <message>
        <source>e.g.  https://accounts.google.com, https://login.microsoftonline.com</source>
        <translation>z.&#xa0;B.  https://accounts.google.com, https://login.microsoftonline.com</translation>
    </message>
    <message>
        <source>e.g.  https?://[^/]+\.example\.com/.*, ^https://accounts\.google\.com</source>
        <translation>z.&#xa0;B.  https?://[^/]+\.example\.com/.*, ^https://accounts\.google\.com</translation>
    </message>
    <message>
        <source>%1 — or leave empty to match all URLs</source>
        <translation>%1 – oder leer lassen für alle URLs</translation>
    </message>
    <message>
        <source>Leave empty to match all URLs from this app.</source>
        <translation>Leer lassen, damit die Regel für alle URLs aus dieser App gilt.</translation>
    </message>
    <message>
        <source>Matches if the full URL contains any listed value (case-insensitive). Separate values with commas or new lines.</source>
        <translation>Passt, wenn die vollständige URL einen der Werte enthält (Groß- und Kleinschreibung egal). Werte durch Kommas oder Zeilenumbrüche trennen.</translation>
    </message>
    <message>
        <source>Matches if the hostname exactly equals any listed value. Separate values with commas or new lines.</source>
        <translation>Passt, wenn der Rechnername genau einem der Werte entspricht. Werte durch Kommas oder Zeilenumbrüche trennen.</translation>
    </message>
    <message>
        <source>Matches if the full URL starts with any listed value. Separate values with commas or new lines.</source>
        <translation>Passt, wenn die vollständige URL mit einem der Werte beginnt. Werte durch Kommas oder Zeilenumbrüche trennen.</translation>
    </message>
    <message>
        <source>Matches if the full URL matches any listed regular expression. Separate values with commas or new lines.</source>
        <translation>Passt, wenn einer der regulären Ausdrücke auf die vollständige URL zutrifft. Werte durch Kommas oder Zeilenumbrüche trennen.</translation>
    </message>
    <message>
        <source>Rule only fires when a URL is opened by this app.</source>
        <translation>Die Regel gilt nur, wenn diese App eine URL öffnet.</translation>
    </message>
</context>
<context>
    <name>vantorel::RuleEditorView</name>
    <message>
        <source>Optional label</source>
        <translation>Optionale Bezeichnung</translation>
    </message>
    <message>
        <source>Any app</source>
        <translation>Beliebige App</translation>
    </message>
    <message>
        <source>Match:</source>
        <translation>Abgleich:</translation>
    </message>
    <message>
        <source>Pattern:</source>
        <translation>Muster:</translation>
    </message>
    <message>
        <source>Choose browser…</source>
        <translation>Browser wählen&#xa0;…</translation>
    </message>
    <message>
        <source>From app:</source>
        <translation>Aus App:</translation>
    </message>
    <message>
        <source>Name:</source>
        <translation>Name:</translation>
    </message>
    <message>
        <source>Open in:</source>
        <translation>Öffnen in:</translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation>Abbrechen</translation>
    </message>
</context>
<context>
    <name>vantorel::RuleList</name>
    <message>
        <source>Routing Rules</source>
        <translation>Weiterleitungsregeln</translation>
    </message>
</context>
<context>
    <name>vantorel::RuleListModel</name>
    <message>
        <source>App Rule</source>
        <translation>App-Regel</translation>
    </message>
</context>
<context>
    <name>vantorel::RuleSummaryRow</name>
    <message>
        <source>%1 → %2</source>
        <comment>application and browser</comment>
        <translation>%1 → %2</translation>
    </message>
    <message>
        <source>→ %1</source>
        <comment>browser</comment>
        <translation>→ %1</translation>
    </message>
    <message>
        <source>%1 (disabled)</source>
        <comment>what a rule does</comment>
        <translation>%1 (ausgeschaltet)</translation>
    </message>
</context>
<context>
    <name>vantorel::SettingsView</name>
    <message>
        <source>Vantorel by %1</source>
        <translation>Vantorel von %1</translation>
    </message>
    <message>
        <source>Routing Rules</source>
        <translation>Weiterleitungsregeln</translation>
    </message>
    <message>
        <source>Rules are checked top-to-bottom. First match wins. Double-click to edit, drag the handle to reorder.</source>
        <translation>Die erste passende Regel von oben gilt. Zum Bearbeiten doppelklicken, zum Umordnen am Griff ziehen.</translation>
    </message>
    <message>
        <source>Vantorel is the default browser.</source>
        <translation>Vantorel ist der Standardbrowser.</translation>
    </message>
    <message>
        <source>Set as Default Browser</source>
        <translation>Als Standard festlegen</translation>
    </message>
    <message>
        <source>Getting Started</source>
        <translation>Erste Schritte</translation>
    </message>
    <message>
        <source>Hide</source>
        <translation>Ausblenden</translation>
    </message>
    <message>
        <source>Vantorel sits in front of your browsers and routes each link using the rules below.</source>
        <translation>Vantorel sitzt vor den Browsern und leitet jeden Link nach den Regeln unten weiter.</translation>
    </message>
    <message>
        <source>Set it as default</source>
        <translation>Als Standard festlegen</translation>
    </message>
    <message>
        <source>Use the button above so Vantorel receives links first.</source>
        <translation>Mit dem Knopf oben kommen Links zuerst zu Vantorel.</translation>
    </message>
    <message>
        <source>Choose a fallback</source>
        <translation>Ersatz wählen</translation>
    </message>
    <message>
        <source>Pick the browser used when a link does not match any rule.</source>
        <translation>Der Ersatzbrowser öffnet Links, zu denen keine Regel passt.</translation>
    </message>
    <message>
        <source>Add your rules</source>
        <translation>Regeln hinzufügen</translation>
    </message>
    <message>
        <source>Create site or app-based rules to open links in the right browser.</source>
        <translation>Nach Website oder App öffnet sich der richtige Browser.</translation>
    </message>
    <message>
        <source>No routing rules yet</source>
        <translation>Noch keine Weiterleitungsregeln</translation>
    </message>
    <message>
        <source>Add a URL rule to send matching links to a specific browser.
Add an app rule to route all links opened by a specific app.</source>
        <translation>Eine URL-Regel schickt passende Links an einen bestimmten Browser.
Eine App-Regel leitet alle Links weiter, die eine bestimmte App öffnet.</translation>
    </message>
    <message>
        <source>Add Your First Rule</source>
        <translation>Erste Regel hinzufügen</translation>
    </message>
    <message>
        <source>Fallback:</source>
        <translation>Ersatz:</translation>
    </message>
    <message>
        <source>Choose fallback browser…</source>
        <translation>Browser wählen&#xa0;…</translation>
    </message>
    <message>
        <source>Tips</source>
        <translation>Tipps</translation>
    </message>
    <message>
        <source>Show or hide the getting started help panel in Settings.</source>
        <translation>Die Hilfe „Erste Schritte“ in den Einstellungen ein- oder ausblenden.</translation>
    </message>
    <message>
        <source>Debug Mode</source>
        <translation>Debug-Modus</translation>
    </message>
    <message>
        <source>Show the last intercept debug panel in the menu popover.</source>
        <translation>Debug-Angaben zum zuletzt abgefangenen Link im Menü anzeigen.</translation>
    </message>
    <message>
        <source>Add rule</source>
        <translation>Regel hinzufügen</translation>
    </message>
    <message>
        <source>Delete selected rule</source>
        <translation>Ausgewählte Regel löschen</translation>
    </message>
</context>
<context>
    <name>vantorel::StatusDot</name>
    <message>
        <source>Rules are active</source>
        <translation>Regeln sind aktiv</translation>
    </message>
    <message>
        <source>No active rules</source>
        <translation>Keine aktiven Regeln</translation>
    </message>
</context>
</TS>
