#include "tools/vantor-dialog/conflict_dialog.h"

#include <QComboBox>
#include <QDialogButtonBox>
#include <QDir>
#include <QGridLayout>
#include <QGroupBox>
#include <QLabel>
#include <QPushButton>
#include <QScrollArea>
#include <QVBoxLayout>

#include "tools/vantor-dialog/album_xml.h"
#include "tools/vantor-dialog/preferences_dialog.h"
#include "vantor/vantor.h"

namespace vantor_dialog {
namespace {

// Known facts by their caption; an online fact named like a local one ("onlinedate") too.
QString caption(QString fact) {
  if (fact.startsWith(QLatin1String("online"))) fact.remove(0, 6);
  static const std::pair<const char*, const char*> captions[] = {{"label", "File name"},
                                                                 {"date", "Date"},
                                                                 {"time", "Time"},
                                                                 {"filesize", "Size"},
                                                                 {"pixel", "Pixels"}};
  for (const auto& [name, text] : captions) {
    if (fact == QLatin1String(name)) return QDialog::tr(text);
  }
  return fact;
}

QString choice_text(const QString& choice) {
  static const std::pair<const char*, const char*> texts[] = {
      {"keep_local", "Keep the local file"},
      {"keep_online", "Keep the online file"},
      {"keep_both", "Keep both"},
      {"delete", "Delete it here too"},
      {"keep", "Keep it"}};
  for (const auto& [name, text] : texts) {
    if (choice == QLatin1String(name)) return QDialog::tr(text);
  }
  return choice;
}

// One column of facts under its heading, from `column` on.
void add_facts(QGridLayout& grid, int column, const QString& heading, const facts& list) {
  auto* head = new QLabel(QStringLiteral("<b>%1</b>").arg(heading));
  grid.addWidget(head, 0, column, 1, 2);
  int row = 1;
  for (const auto& [name, value] : list) {
    grid.addWidget(new QLabel(caption(name)), row, column);
    auto* text = new QLabel(value);
    text->setTextFormat(Qt::PlainText);
    grid.addWidget(text, row++, column + 1);
  }
  if (list.empty()) grid.addWidget(new QLabel(QDialog::tr("(nothing known)")), 1, column, 1, 2);
}

}  // namespace

conflict_dialog::conflict_dialog(std::vector<int> conflicts, std::vector<int> deletes,
                                 QString folder, QWidget* parent)
    : QDialog(parent) {
  setWindowTitle(tr("Sync conflicts"));
  auto* layout = new QVBoxLayout(this);
  auto* error = new QLabel(this);
  error->setObjectName(QStringLiteral("error"));
  error->setStyleSheet(QStringLiteral("color: #b00020"));
  error->setWordWrap(true);
  error->hide();
  layout->addWidget(error);

  if (!folder.endsWith(QLatin1Char('/'))) folder += QLatin1Char('/');
  std::string xml;
  std::string reserved;
  const VTL::error_code code =
      VTL::GetManualConflictResolutionXML(conflicts, deletes, xml, folder.toStdString(), reserved);
  try {
    if (code != VTL::success) {
      error->setText(tr("The conflicts could not be read: %1").arg(CodeText(code)));
    } else {
      items_ = ParseConflicts(xml);
    }
  } catch (const xml_error& e) {
    error->setText(tr("The conflicts could not be read: %1").arg(QString::fromStdString(e.what())));
  }
  error->setVisible(!error->text().isEmpty());

  auto* area = new QScrollArea(this);
  area->setWidgetResizable(true);
  auto* list = new QWidget(area);
  auto* boxes = new QVBoxLayout(list);
  for (const conflict_item& item : items_) {
    const QString title = item.deletion ? tr("Media %1 was deleted online").arg(item.id)
                                        : tr("Media %1 was changed here and online").arg(item.id);
    auto* box = new QGroupBox(
        item.top == item.id ? title : tr("%1 (newest version: %2)").arg(title).arg(item.top), list);
    auto* grid = new QGridLayout(box);
    add_facts(*grid, 0, tr("Here"), item.local);
    if (!item.deletion) add_facts(*grid, 2, tr("Online"), item.online);
    auto* choice = new QComboBox(box);
    choice->setObjectName(QStringLiteral("choice%1").arg(item.id));
    for (const QString& c : ChoicesFor(item)) choice->addItem(choice_text(c), c);
    grid->addWidget(choice, grid->rowCount(), 0, 1, 4);
    choices_.push_back(choice);
    boxes->addWidget(box);
  }
  boxes->addStretch(1);
  area->setWidget(list);
  layout->addWidget(area, 1);

  auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
  QPushButton* ok = buttons->button(QDialogButtonBox::Ok);
  ok->setObjectName(QStringLiteral("ok"));
  // Nothing to answer for when the text could not be read.
  ok->setEnabled(error->isHidden());
  connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
  connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
  layout->addWidget(buttons);
  resize(720, 560);
}

QByteArray conflict_dialog::choices_json() const {
  std::vector<QString> choices;
  for (const QComboBox* c : choices_) choices.push_back(c->currentData().toString());
  return ChoicesJson(items_, choices);
}

}  // namespace vantor_dialog
