<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="ar" sourcelanguage="en">
<context>
    <name>MatchType</name>
    <message>
        <source>Contains</source>
        <translation>يحتوي على</translation>
    </message>
    <message>
        <source>Domain</source>
        <translation>النطاق</translation>
    </message>
    <message>
        <source>Starts With</source>
        <translation>يبدأ بـ</translation>
    </message>
    <message>
        <source>Regex</source>
        <translation>تعبير نمطي</translation>
    </message>
</context>
<context>
    <name>MenuBarManager</name>
    <message>
        <source>Vantorel — Settings</source>
        <comment>title of the settings window</comment>
        <translation>Vantorel — الإعدادات</translation>
    </message>
    <message>
        <source>No browser configured</source>
        <comment>what the warning icon says</comment>
        <translation>لم يُحدَّد أي متصفح</translation>
    </message>
    <message>
        <source>Settings</source>
        <comment>menu of the icon</comment>
        <translation>الإعدادات</translation>
    </message>
    <message>
        <source>Quit Vantorel</source>
        <comment>menu of the icon</comment>
        <translation>إنهاء ⁨Vantorel⁩</translation>
    </message>
</context>
<context>
    <name>RuleList</name>
    <message>
        <source>Edit</source>
        <translation>تحرير</translation>
    </message>
    <message>
        <source>Delete</source>
        <translation>حذف</translation>
    </message>
    <message>
        <source>Move Up</source>
        <translation>نقل لأعلى</translation>
    </message>
    <message>
        <source>Move Down</source>
        <translation>نقل لأسفل</translation>
    </message>
    <message>
        <source>%1: %2</source>
        <comment>match type and pattern</comment>
        <translation>⁨%1⁩: ⁨%2⁩</translation>
    </message>
    <message>
        <source>%1 → %2</source>
        <comment>what a rule matches, and its browser</comment>
        <translation>⁨%1⁩ ← ⁨%2⁩</translation>
    </message>
    <message>
        <source>Select</source>
        <translation>تحديد</translation>
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
        <translation>قاعدة تطبيق</translation>
    </message>
    <message>
        <source>by %1</source>
        <comment>the maker</comment>
        <translation>من ⁨%1⁩</translation>
    </message>
    <message>
        <source>Last Intercept</source>
        <translation>آخر رابط مُلتقَط</translation>
    </message>
    <message>
        <source>Settings</source>
        <translation>الإعدادات</translation>
    </message>
    <message>
        <source>Quit Vantorel</source>
        <translation>إنهاء ⁨Vantorel⁩</translation>
    </message>
    <message>
        <source>Routing Rules</source>
        <translation>قواعد التوجيه</translation>
    </message>
    <message>
        <source>No URLs intercepted yet.</source>
        <translation>لم يُلتقَط أي رابط بعد.</translation>
    </message>
    <message>
        <source>Source: unknown</source>
        <translation>المصدر: غير معروف</translation>
    </message>
    <message>
        <source>Source: %1</source>
        <translation>المصدر: ⁨%1⁩</translation>
    </message>
    <message>
        <source>No rules — open Settings to add one.</source>
        <translation>لا قواعد — افتح الإعدادات لإضافة قاعدة.</translation>
    </message>
    <message>
        <source>+ %1 more in Settings</source>
        <translation>+ ⁨%1⁩ أخرى في الإعدادات</translation>
    </message>
</context>
<context>
    <name>vantorel::RuleEditor</name>
    <message>
        <source>Invalid regex &apos;%1&apos;: %2</source>
        <translation>تعبير نمطي غير صالح «⁨%1⁩»: ⁨%2⁩</translation>
    </message>
    <message>
        <source>Edit Rule</source>
        <translation>تحرير القاعدة</translation>
    </message>
    <message>
        <source>Add Rule</source>
        <translation>إضافة قاعدة</translation>
    </message>
    <message>
        <source>Save Changes</source>
        <translation>حفظ التغييرات</translation>
    </message>
    <message>
        <source>e.g.  app.example.com, docs.example.com</source>
        <translation>مثال:  ⁨app.example.com, docs.example.com⁩</translation>
    </message>
    <message>
        <source>e.g.  www.example.com, mail.example.com</source>
        <translation>مثال:  ⁨www.example.com, mail.example.com⁩</translation>
    </message>
    <message>
        <source>e.g.  https://accounts.google.com, https://login.microsoftonline.com</source>
        <translation>مثال:  ⁨https://accounts.google.com, https://login.microsoftonline.com⁩</translation>
    </message>
    <message>
        <source>e.g.  https?://[^/]+\.example\.com/.*, ^https://accounts\.google\.com</source>
        <translation>مثال:  ⁨https?://[^/]+\.example\.com/.*, ^https://accounts\.google\.com⁩</translation>
    </message>
    <message>
        <source>%1 — or leave empty to match all URLs</source>
        <translation>%1 — أو اتركه فارغًا لمطابقة كل الروابط</translation>
    </message>
    <message>
        <source>Leave empty to match all URLs from this app.</source>
        <translation>اتركه فارغًا لمطابقة كل الروابط من هذا التطبيق.</translation>
    </message>
    <message>
        <source>Matches if the full URL contains any listed value (case-insensitive). Separate values with commas or new lines.</source>
        <translation>يُطابق إذا احتوى الرابط الكامل على إحدى القيم (دون تمييز حالة الأحرف). افصل بين القيم بفواصل أو بأسطر جديدة.</translation>
    </message>
    <message>
        <source>Matches if the hostname exactly equals any listed value. Separate values with commas or new lines.</source>
        <translation>يُطابق إذا كان اسم المضيف مساويًا تمامًا لإحدى القيم. افصل بين القيم بفواصل أو بأسطر جديدة.</translation>
    </message>
    <message>
        <source>Matches if the full URL starts with any listed value. Separate values with commas or new lines.</source>
        <translation>يُطابق إذا بدأ الرابط الكامل بإحدى القيم. افصل بين القيم بفواصل أو بأسطر جديدة.</translation>
    </message>
    <message>
        <source>Matches if the full URL matches any listed regular expression. Separate values with commas or new lines.</source>
        <translation>يُطابق إذا طابق الرابط الكامل أحد التعابير النمطية. افصل بين القيم بفواصل أو بأسطر جديدة.</translation>
    </message>
    <message>
        <source>Rule only fires when a URL is opened by this app.</source>
        <translation>لا تُطبَّق القاعدة إلا إذا فتح هذا التطبيق الرابط.</translation>
    </message>
</context>
<context>
    <name>vantorel::RuleEditorView</name>
    <message>
        <source>Optional label</source>
        <translation>تسمية اختيارية</translation>
    </message>
    <message>
        <source>Any app</source>
        <translation>أي تطبيق</translation>
    </message>
    <message>
        <source>Match:</source>
        <translation>المطابقة:</translation>
    </message>
    <message>
        <source>Pattern:</source>
        <translation>النمط:</translation>
    </message>
    <message>
        <source>Choose browser…</source>
        <translation>اختر متصفحًا…</translation>
    </message>
    <message>
        <source>From app:</source>
        <translation>من تطبيق:</translation>
    </message>
    <message>
        <source>Name:</source>
        <translation>الاسم:</translation>
    </message>
    <message>
        <source>Open in:</source>
        <translation>الفتح في:</translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation>إلغاء</translation>
    </message>
</context>
<context>
    <name>vantorel::RuleList</name>
    <message>
        <source>Routing Rules</source>
        <translation>قواعد التوجيه</translation>
    </message>
</context>
<context>
    <name>vantorel::RuleListModel</name>
    <message>
        <source>App Rule</source>
        <translation>قاعدة تطبيق</translation>
    </message>
</context>
<context>
    <name>vantorel::RuleSummaryRow</name>
    <message>
        <source>%1 → %2</source>
        <comment>application and browser</comment>
        <translation>⁨%1⁩ ← ⁨%2⁩</translation>
    </message>
    <message>
        <source>→ %1</source>
        <comment>browser</comment>
        <translation>← ⁨%1⁩</translation>
    </message>
    <message>
        <source>%1 (disabled)</source>
        <comment>what a rule does</comment>
        <translation>%1 (معطّلة)</translation>
    </message>
</context>
<context>
    <name>vantorel::SettingsView</name>
    <message>
        <source>Vantorel by %1</source>
        <translation>‏Vantorel من %1</translation>
    </message>
    <message>
        <source>Routing Rules</source>
        <translation>قواعد التوجيه</translation>
    </message>
    <message>
        <source>Rules are checked top-to-bottom. First match wins. Double-click to edit, drag the handle to reorder.</source>
        <translation>تُفحص القواعد من الأعلى إلى الأسفل، وأول قاعدة مطابقة هي التي تُطبَّق. انقر نقرًا مزدوجًا للتحرير، واسحب المقبض لإعادة الترتيب.</translation>
    </message>
    <message>
        <source>Vantorel is the default browser.</source>
        <translation>‏Vantorel هو المتصفح المبدئي.</translation>
    </message>
    <message>
        <source>Set as Default Browser</source>
        <translation>تعيين كمتصفح مبدئي</translation>
    </message>
    <message>
        <source>Getting Started</source>
        <translation>البداية</translation>
    </message>
    <message>
        <source>Hide</source>
        <translation>إخفاء</translation>
    </message>
    <message>
        <source>Vantorel sits in front of your browsers and routes each link using the rules below.</source>
        <translation>يقف Vantorel أمام متصفحاتك ويوجّه كل رابط وفق القواعد أدناه.</translation>
    </message>
    <message>
        <source>Set it as default</source>
        <translation>اجعله المبدئي</translation>
    </message>
    <message>
        <source>Use the button above so Vantorel receives links first.</source>
        <translation>استخدم الزر أعلاه ليستقبل Vantorel الروابط أولًا.</translation>
    </message>
    <message>
        <source>Choose a fallback</source>
        <translation>اختر متصفحًا بديلًا</translation>
    </message>
    <message>
        <source>Pick the browser used when a link does not match any rule.</source>
        <translation>اختر المتصفح المستخدم حين لا يطابق الرابط أي قاعدة.</translation>
    </message>
    <message>
        <source>Add your rules</source>
        <translation>أضف قواعدك</translation>
    </message>
    <message>
        <source>Create site or app-based rules to open links in the right browser.</source>
        <translation>أنشئ قواعد للمواقع أو التطبيقات لفتح الروابط في المتصفح المناسب.</translation>
    </message>
    <message>
        <source>No routing rules yet</source>
        <translation>لا توجد قواعد توجيه بعد</translation>
    </message>
    <message>
        <source>Add a URL rule to send matching links to a specific browser.
Add an app rule to route all links opened by a specific app.</source>
        <translation>أضف قاعدة روابط لإرسال الروابط المطابقة إلى متصفح معيّن.
أضف قاعدة تطبيق لتوجيه كل الروابط التي يفتحها تطبيق معيّن.</translation>
    </message>
    <message>
        <source>Add Your First Rule</source>
        <translation>أضف قاعدتك الأولى</translation>
    </message>
    <message>
        <source>Fallback:</source>
        <translation>البديل:</translation>
    </message>
    <message>
        <source>Choose fallback browser…</source>
        <translation>اختر متصفحًا بديلًا…</translation>
    </message>
    <message>
        <source>Tips</source>
        <translation>تلميحات</translation>
    </message>
    <message>
        <source>Show or hide the getting started help panel in Settings.</source>
        <translation>إظهار لوحة المساعدة «البداية» في الإعدادات أو إخفاؤها.</translation>
    </message>
    <message>
        <source>Debug Mode</source>
        <translation>وضع التنقيح</translation>
    </message>
    <message>
        <source>Show the last intercept debug panel in the menu popover.</source>
        <translation>إظهار معلومات التنقيح عن آخر رابط مُلتقَط في القائمة.</translation>
    </message>
    <message>
        <source>Add rule</source>
        <translation>إضافة قاعدة</translation>
    </message>
    <message>
        <source>Delete selected rule</source>
        <translation>حذف القاعدة المحددة</translation>
    </message>
</context>
<context>
    <name>vantorel::StatusDot</name>
    <message>
        <source>Rules are active</source>
        <translation>توجد قواعد مفعّلة</translation>
    </message>
    <message>
        <source>No active rules</source>
        <translation>لا قواعد مفعّلة</translation>
    </message>
</context>
</TS>
