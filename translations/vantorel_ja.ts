<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="ja" sourcelanguage="en">
<context>
    <name>MatchType</name>
    <message>
        <source>Contains</source>
        <translation>部分一致</translation>
    </message>
    <message>
        <source>Domain</source>
        <translation>ドメイン</translation>
    </message>
    <message>
        <source>Starts With</source>
        <translation>前方一致</translation>
    </message>
    <message>
        <source>Regex</source>
        <translation>正規表現</translation>
    </message>
</context>
<context>
    <name>MenuBarManager</name>
    <message>
        <source>Vantorel — Settings</source>
        <comment>title of the settings window</comment>
        <translation>Vantorel — 設定</translation>
    </message>
    <message>
        <source>No browser configured</source>
        <comment>what the warning icon says</comment>
        <translation>ブラウザーが設定されていません</translation>
    </message>
    <message>
        <source>Settings</source>
        <comment>menu of the icon</comment>
        <translation>設定</translation>
    </message>
    <message>
        <source>Quit Vantorel</source>
        <comment>menu of the icon</comment>
        <translation>Vantorel を終了</translation>
    </message>
</context>
<context>
    <name>RuleList</name>
    <message>
        <source>Edit</source>
        <translation>編集</translation>
    </message>
    <message>
        <source>Delete</source>
        <translation>削除</translation>
    </message>
    <message>
        <source>Move Up</source>
        <translation>上へ移動</translation>
    </message>
    <message>
        <source>Move Down</source>
        <translation>下へ移動</translation>
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
        <translation>選択</translation>
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
        <translation>アプリのルール</translation>
    </message>
    <message>
        <source>by %1</source>
        <comment>the maker</comment>
        <translation>提供: %1</translation>
    </message>
    <message>
        <source>Last Intercept</source>
        <translation>最後に受け取ったリンク</translation>
    </message>
    <message>
        <source>Settings</source>
        <translation>設定</translation>
    </message>
    <message>
        <source>Quit Vantorel</source>
        <translation>Vantorel を終了</translation>
    </message>
    <message>
        <source>Routing Rules</source>
        <translation>振り分けルール</translation>
    </message>
    <message>
        <source>No URLs intercepted yet.</source>
        <translation>受け取った URL はまだありません。</translation>
    </message>
    <message>
        <source>Source: unknown</source>
        <translation>リンク元: 不明</translation>
    </message>
    <message>
        <source>Source: %1</source>
        <translation>リンク元: %1</translation>
    </message>
    <message>
        <source>No rules — open Settings to add one.</source>
        <translation>ルールがありません。設定で追加できます。</translation>
    </message>
    <message>
        <source>+ %1 more in Settings</source>
        <translation>+ 設定にさらに %1 件</translation>
    </message>
</context>
<context>
    <name>vantorel::RuleEditor</name>
    <message>
        <source>Invalid regex &apos;%1&apos;: %2</source>
        <translation>正規表現「%1」が正しくありません: %2</translation>
    </message>
    <message>
        <source>Edit Rule</source>
        <translation>ルールを編集</translation>
    </message>
    <message>
        <source>Add Rule</source>
        <translation>ルールを追加</translation>
    </message>
    <message>
        <source>Save Changes</source>
        <translation>変更を保存</translation>
    </message>
    <message>
        <source>e.g.  app.example.com, docs.example.com</source>
        <translation>例:  app.example.com, docs.example.com</translation>
    </message>
    <message>
        <source>e.g.  www.example.com, mail.example.com</source>
        <translation>例:  www.example.com, mail.example.com</translation>
    </message>
    <message>
        <source>e.g.  https://accounts.google.com, https://login.microsoftonline.com</source>
        <translation>例:  https://accounts.google.com, https://login.microsoftonline.com</translation>
    </message>
    <message>
        <source>e.g.  https?://[^/]+\.example\.com/.*, ^https://accounts\.google\.com</source>
        <translation>例:  https?://[^/]+\.example\.com/.*, ^https://accounts\.google\.com</translation>
    </message>
    <message>
        <source>%1 — or leave empty to match all URLs</source>
        <translation>%1 — 空欄にするとすべての URL に一致します</translation>
    </message>
    <message>
        <source>Leave empty to match all URLs from this app.</source>
        <translation>空欄にすると、このアプリからのすべての URL に一致します。</translation>
    </message>
    <message>
        <source>Matches if the full URL contains any listed value (case-insensitive). Separate values with commas or new lines.</source>
        <translation>URL 全体にいずれかの値が含まれていれば一致します (大文字と小文字は区別しません)。値はコンマか改行で区切ります。</translation>
    </message>
    <message>
        <source>Matches if the hostname exactly equals any listed value. Separate values with commas or new lines.</source>
        <translation>ホスト名がいずれかの値と完全に同じであれば一致します。値はコンマか改行で区切ります。</translation>
    </message>
    <message>
        <source>Matches if the full URL starts with any listed value. Separate values with commas or new lines.</source>
        <translation>URL がいずれかの値で始まっていれば一致します。値はコンマか改行で区切ります。</translation>
    </message>
    <message>
        <source>Matches if the full URL matches any listed regular expression. Separate values with commas or new lines.</source>
        <translation>URL がいずれかの正規表現に当てはまれば一致します。値はコンマか改行で区切ります。</translation>
    </message>
    <message>
        <source>Rule only fires when a URL is opened by this app.</source>
        <translation>このアプリが URL を開いたときにだけ適用されます。</translation>
    </message>
</context>
<context>
    <name>vantorel::RuleEditorView</name>
    <message>
        <source>Optional label</source>
        <translation>ラベル (省略可)</translation>
    </message>
    <message>
        <source>Any app</source>
        <translation>すべてのアプリ</translation>
    </message>
    <message>
        <source>Match:</source>
        <translation>一致条件:</translation>
    </message>
    <message>
        <source>Pattern:</source>
        <translation>パターン:</translation>
    </message>
    <message>
        <source>Choose browser…</source>
        <translation>ブラウザーを選択…</translation>
    </message>
    <message>
        <source>From app:</source>
        <translation>リンク元アプリ:</translation>
    </message>
    <message>
        <source>Name:</source>
        <translation>名前:</translation>
    </message>
    <message>
        <source>Open in:</source>
        <translation>開くブラウザー:</translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation>キャンセル</translation>
    </message>
</context>
<context>
    <name>vantorel::RuleList</name>
    <message>
        <source>Routing Rules</source>
        <translation>振り分けルール</translation>
    </message>
</context>
<context>
    <name>vantorel::RuleListModel</name>
    <message>
        <source>App Rule</source>
        <translation>アプリのルール</translation>
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
        <translation>%1 (無効)</translation>
    </message>
</context>
<context>
    <name>vantorel::SettingsView</name>
    <message>
        <source>Vantorel by %1</source>
        <translation>Vantorel (提供: %1)</translation>
    </message>
    <message>
        <source>Routing Rules</source>
        <translation>振り分けルール</translation>
    </message>
    <message>
        <source>Rules are checked top-to-bottom. First match wins. Double-click to edit, drag the handle to reorder.</source>
        <translation>ルールは上から順に調べられ、最初に一致したものが使われます。ダブルクリックで編集、ハンドルをドラッグして並べ替えられます。</translation>
    </message>
    <message>
        <source>Vantorel is the default browser.</source>
        <translation>Vantorel は既定のブラウザーです。</translation>
    </message>
    <message>
        <source>Set as Default Browser</source>
        <translation>既定のブラウザーに設定</translation>
    </message>
    <message>
        <source>Getting Started</source>
        <translation>はじめに</translation>
    </message>
    <message>
        <source>Hide</source>
        <translation>隠す</translation>
    </message>
    <message>
        <source>Vantorel sits in front of your browsers and routes each link using the rules below.</source>
        <translation>Vantorel はブラウザーの手前でリンクを受け取り、下のルールに従って振り分けます。</translation>
    </message>
    <message>
        <source>Set it as default</source>
        <translation>既定に設定</translation>
    </message>
    <message>
        <source>Use the button above so Vantorel receives links first.</source>
        <translation>上のボタンで設定すると、リンクはまず Vantorel に届きます。</translation>
    </message>
    <message>
        <source>Choose a fallback</source>
        <translation>予備を選択</translation>
    </message>
    <message>
        <source>Pick the browser used when a link does not match any rule.</source>
        <translation>どのルールにも一致しないリンクを開くブラウザーを選びます。</translation>
    </message>
    <message>
        <source>Add your rules</source>
        <translation>ルールを追加</translation>
    </message>
    <message>
        <source>Create site or app-based rules to open links in the right browser.</source>
        <translation>サイトやアプリごとのルールを作り、リンクを適切なブラウザーで開きます。</translation>
    </message>
    <message>
        <source>No routing rules yet</source>
        <translation>振り分けルールはまだありません</translation>
    </message>
    <message>
        <source>Add a URL rule to send matching links to a specific browser.
Add an app rule to route all links opened by a specific app.</source>
        <translation>URL のルールを追加すると、一致したリンクを特定のブラウザーで開けます。
アプリのルールを追加すると、特定のアプリが開いたリンクをすべて振り分けられます。</translation>
    </message>
    <message>
        <source>Add Your First Rule</source>
        <translation>最初のルールを追加</translation>
    </message>
    <message>
        <source>Fallback:</source>
        <translation>予備:</translation>
    </message>
    <message>
        <source>Choose fallback browser…</source>
        <translation>予備のブラウザーを選択…</translation>
    </message>
    <message>
        <source>Tips</source>
        <translation>ヒント</translation>
    </message>
    <message>
        <source>Show or hide the getting started help panel in Settings.</source>
        <translation>「はじめに」の案内を設定に表示するかどうかを切り替えます。</translation>
    </message>
    <message>
        <source>Debug Mode</source>
        <translation>デバッグモード</translation>
    </message>
    <message>
        <source>Show the last intercept debug panel in the menu popover.</source>
        <translation>最後に受け取ったリンクのデバッグ情報をメニューに表示します。</translation>
    </message>
    <message>
        <source>Add rule</source>
        <translation>ルールを追加</translation>
    </message>
    <message>
        <source>Delete selected rule</source>
        <translation>選択したルールを削除</translation>
    </message>
</context>
<context>
    <name>vantorel::StatusDot</name>
    <message>
        <source>Rules are active</source>
        <translation>有効なルールがあります</translation>
    </message>
    <message>
        <source>No active rules</source>
        <translation>有効なルールがありません</translation>
    </message>
</context>
</TS>
