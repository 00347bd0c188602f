#include "administration/optionsdialog.h"
#include "ui_optionsdialog.h"

#include "administration/optioneditor.h"
#include "app/messages.h"
#include "db/connections.h"
#include "widgets/colors.h"
#include "widgets/dialogbuttons.h"
#include "widgets/dialogplace.h"
#include "widgets/plaintext.h"

#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QScrollArea>
#include <QVBoxLayout>

#include <algorithm>

namespace {

constexpr qsizetype longestShown = 60;

QString shortText(const QString &text)
{
    const QString line = text.simplified();
    return line.size() > longestShown ? line.left(longestShown) + u'…' : line;
}

/// A text in a label or a button of its own, where '&' would mark a key.
QString withoutMnemonic(QString text)
{
    return text.replace(u'&', "&&");
}

QLabel *plainLabel(const QString &text, QWidget *parent)
{
    auto *label = new QLabel(text, parent);
    label->setTextFormat(Qt::PlainText);
    label->setWordWrap(true);
    return label;
}

QLabel *helpLabel(const QString &text, QWidget *parent)
{
    QLabel *label = plainLabel(text, parent);
    QPalette colours = label->palette();
    constexpr double faded = 0.35;
    colours.setColor(QPalette::WindowText, blendColors(colours.color(QPalette::WindowText),
                                                       colours.color(QPalette::Window), faded));
    label->setPalette(colours);
    return label;
}

} // namespace

OptionsDialog::OptionsDialog(QWidget *parent)
    : QDialog(parent),
      m_ui(std::make_unique<Ui::OptionsDialog>())
{
    m_ui->setupUi(this);
    m_loaded = m_store.load(parent);
    fill();
    pressByCtrlReturn(this, m_ui->savePushButton);
    keepDialogSize(this);
}

OptionsDialog::~OptionsDialog() = default;

int OptionsDialog::exec()
{
    return m_loaded ? QDialog::exec() : int(Rejected);
}

void OptionsDialog::fill()
{
    const QStringList groups = optionGroups();
    for (const QString &group : groups) {
        QVBoxLayout *page = nullptr;
        for (const OptionRow &row : m_store.rows()) {
            if (describeOption(row).group != group)
                continue;
            if (!page)
                page = addPage(group);
            addEditor(row, page);
        }
        if (page)
            page->addStretch();
    }
    QListWidget *list = m_ui->groupListWidget;
    constexpr int margin = 24;
    list->setFixedWidth(list->sizeHintForColumn(0) + 2 * list->frameWidth() + margin);
    list->setCurrentRow(0);
    list->setFocus();
    // The pages lie between the list and the buttons, also for the Tab key.
    QWidget *former = list;
    for (const Editor &editor : std::as_const(m_editors)) {
        setTabOrder(former, editor.widget);
        former = editor.widget;
    }
    setTabOrder(former, m_ui->savePushButton);
    setTabOrder(m_ui->savePushButton, m_ui->cancelPushButton);
}

QVBoxLayout *OptionsDialog::addPage(const QString &group)
{
    auto *area = new QScrollArea(this);
    area->setWidgetResizable(true);
    area->setFrameShape(QFrame::NoFrame);
    area->setFocusPolicy(Qt::NoFocus);
    auto *page = new QWidget(area);
    auto *layout = new QVBoxLayout(page);
    area->setWidget(page);
    m_ui->groupStackedWidget->addWidget(area);
    m_ui->groupListWidget->addItem(group);
    return layout;
}

void OptionsDialog::addEditor(const OptionRow &row, QVBoxLayout *layout)
{
    const OptionDescription description = describeOption(row);
    QWidget *page = layout->parentWidget();
    if (layout->count() > 0)
        layout->addSpacing(layout->spacing());
    QWidget *widget = makeOptionEditor(description, page);
    widget->setObjectName(row.name);
    showOption(widget, description, row.value);
    if (description.kind != OptionKind::Flag) {
        const QString unit =
            description.suffix.isEmpty() ? QString() : QStringLiteral(", ") + description.suffix;
        auto *label = plainLabel(withoutMnemonic(description.title + unit + u':'), page);
        label->setBuddy(widget);
        layout->addWidget(label);
    }
    layout->addWidget(widget);
    // What numbers stand for the entries of a list is of no use beside the list.
    if (description.kind == OptionKind::Choice)
        widget->setToolTip(plainToolTip(description.help));
    else if (!description.help.isEmpty())
        layout->addWidget(helpLabel(description.help, page));
    m_editors += {.row = row,
                  .description = description,
                  .widget = widget,
                  .shown = enteredOption(widget, description),
                  .page = m_ui->groupListWidget->count() - 1};
}

void OptionsDialog::on_groupListWidget_currentRowChanged(int row)
{
    m_ui->groupStackedWidget->setCurrentIndex(row);
}

void OptionsDialog::on_savePushButton_clicked()
{
    const CommandScope command;
    if (check() && save())
        accept();
}

void OptionsDialog::on_cancelPushButton_clicked()
{
    reject();
}

void OptionsDialog::reject()
{
    if (changes().isEmpty() || mayLoseInput(this))
        QDialog::reject();
}

void OptionsDialog::keyPressEvent(QKeyEvent *event)
{
    if (!passReturnOn(this, event))
        QDialog::keyPressEvent(event);
}

QMap<qulonglong, QString> OptionsDialog::changes() const
{
    QMap<qulonglong, QString> changed;
    for (const Editor &editor : m_editors) {
        const QString entered = enteredOption(editor.widget, editor.description);
        if (entered != editor.shown)
            changed.insert(editor.row.id, entered);
    }
    return changed;
}

bool OptionsDialog::check()
{
    const QMap<qulonglong, QString> changed = changes();
    for (const Editor &editor : std::as_const(m_editors)) {
        if (!changed.contains(editor.row.id))
            continue;
        const QString fault = optionFault(editor.row, changed.value(editor.row.id));
        if (fault.isEmpty())
            continue;
        showInformation(this, editor.description.title + ": " + fault);
        lead(editor);
        return false;
    }
    return true;
}

/// Takes the user to a field.
void OptionsDialog::lead(const Editor &editor)
{
    m_ui->groupListWidget->setCurrentRow(editor.page);
    qobject_cast<QScrollArea *>(m_ui->groupStackedWidget->widget(editor.page))
        ->ensureWidgetVisible(editor.widget);
    editor.widget->setFocus();
    if (auto *line = qobject_cast<QLineEdit *>(editor.widget))
        line->selectAll();
}

bool OptionsDialog::save()
{
    switch (m_store.save(this, changes())) {
    case OptionSaveState::Saved:
        return true;
    case OptionSaveState::Changed:
        return askToReplace() && save();
    case OptionSaveState::Failed:
        break;
    }
    return false;
}

/// Shows what another station has written meanwhile. Whether it is to be replaced; otherwise the
/// fields may have taken it over.
bool OptionsDialog::askToReplace()
{
    const QMap<qulonglong, QString> mine = changes();
    const QList<OptionStore::Conflict> conflicts = m_store.conflicts();
    QStringList lines;
    for (const OptionStore::Conflict &conflict : conflicts) {
        const OptionDescription description = describeOption(conflict.seen);
        const auto shown = [&](const QString &value) {
            return shortText(shownOption(description, value));
        };
        if (conflict.now.id == 0)
            lines += tr("%1: удалена, записать Ваше значение некуда").arg(description.title);
        else if (description.kind == OptionKind::Secret)
            lines += tr("%1: изменён").arg(description.title);
        else
            lines += tr("%1: было «%2», стало «%3», у Вас «%4»")
                         .arg(description.title, shown(conflict.seen.value),
                              shown(conflict.now.value), shown(mine.value(conflict.seen.id)));
    }
    const int answer =
        askQuestion(this, {.text = tr("Настройки тем временем изменили на другом рабочем месте."),
                           .note = shortened(lines).join(u'\n'),
                           .buttons = {tr("Записать мои"), tr("Взять новые"), tr("Отмена")},
                           .defaultButton = 2,
                           .escapeButton = 2});
    if (answer == 2)
        return false;
    m_store.acknowledge();
    for (const OptionStore::Conflict &conflict : conflicts)
        take(conflict.seen.id, conflict.now, answer == 1);
    return answer == 0;
}

/// Goes on with a row as another station has made it.
void OptionsDialog::take(qulonglong id, const OptionRow &now, bool showIt)
{
    const auto editor = std::find_if(m_editors.begin(), m_editors.end(),
                                     [id](const Editor &known) { return known.row.id == id; });
    if (editor == m_editors.end())
        return;
    if (now.id == 0) {
        editor->widget->setEnabled(false);
        m_editors.erase(editor);
        return;
    }
    editor->row = now;
    if (!showIt)
        return;
    showOption(editor->widget, editor->description, now.value);
    editor->shown = enteredOption(editor->widget, editor->description);
}
