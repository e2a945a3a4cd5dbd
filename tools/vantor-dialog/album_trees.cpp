#include "tools/vantor-dialog/album_trees.h"

#include <QHash>
#include <QTreeWidget>
#include <optional>

namespace vantor_dialog {
namespace {

// What an item carries for the selection.
enum role : int {
  kLocalId = Qt::UserRole,
  kOnlineId,
  kParents,
  kType,
  kMark,
};

Qt::CheckState check_state(int mark) {
  if (mark == 2) return Qt::PartiallyChecked;
  return mark == 0 ? Qt::Unchecked : Qt::Checked;
}

QTreeWidgetItem* add_item(QTreeWidget& tree, QTreeWidgetItem* parent, const QString& label,
                          const QString& detail) {
  auto* item = parent ? new QTreeWidgetItem(parent) : new QTreeWidgetItem(&tree);
  item->setText(0, label);
  item->setText(1, detail);
  return item;
}

void make_checkable(QTreeWidgetItem* item, bool group, Qt::CheckState state) {
  item->setFlags(item->flags() | Qt::ItemIsUserCheckable |
                 (group ? Qt::ItemIsAutoTristate : Qt::ItemFlags()));
  item->setCheckState(0, state);
}

void add_local(QTreeWidget& tree, QTreeWidgetItem* parent, const local_album& a) {
  QTreeWidgetItem* item =
      add_item(tree, parent, a.label, a.mark == 3 ? QStringLiteral("shared") : QString());
  item->setData(0, kLocalId, a.localid);
  item->setData(0, kOnlineId, a.onlineid);
  item->setData(0, kType, a.type);
  item->setData(0, kMark, a.mark);
  // The group's own mark first: once it holds albums, its box follows theirs.
  make_checkable(item, a.is_group(), check_state(a.mark));
  for (const local_album& child : a.children) add_local(tree, item, child);
}

void collect_linked(const std::vector<local_album>& albums, QHash<QString, QString>& linked) {
  for (const local_album& a : albums) {
    if (!a.onlineid.isEmpty()) linked.insert(a.onlineid, a.localid);
    collect_linked(a.children, linked);
  }
}

int state_of(const QTreeWidgetItem& item, int checked) {
  switch (item.checkState(0)) {
    case Qt::Unchecked:
      return 0;
    case Qt::PartiallyChecked:
      return 2;
    case Qt::Checked:
      break;
  }
  return checked;
}

selection_entry local_entry(const QTreeWidgetItem& item) {
  // A shared album stays shared while it is ticked.
  const int mark = item.data(0, kMark).toInt();
  selection_entry e{
      item.data(0, kLocalId).toString(), item.data(0, kOnlineId).toString(), {}, item.text(0),
      state_of(item, mark == 3 ? 3 : 1), item.data(0, kType).toString(),     {}};
  for (int i = 0; i < item.childCount(); ++i) e.children.push_back(local_entry(*item.child(i)));
  return e;
}

// None when nothing under the item is ticked. A group kept locally goes in with state 2,
// which leaves its mark alone, so that albums ticked in it are made in it.
std::optional<selection_entry> online_entry(const QTreeWidgetItem& item) {
  std::vector<selection_entry> children;
  for (int i = 0; i < item.childCount(); ++i) {
    if (auto child = online_entry(*item.child(i))) children.push_back(std::move(*child));
  }
  const QString localid = item.data(0, kLocalId).toString();
  const bool checkable = item.flags().testFlag(Qt::ItemIsUserCheckable);
  int state = 2;
  if (checkable) {
    state = state_of(item, 1);
    if (state == 0) return std::nullopt;
  } else if (children.empty()) {
    return std::nullopt;
  }
  return selection_entry{localid,
                         item.data(0, kOnlineId).toString(),
                         item.data(0, kParents).toString(),
                         item.text(0),
                         state,
                         item.data(0, kType).toString(),
                         std::move(children)};
}

}  // namespace

void FillLocalTree(QTreeWidget& tree, const std::vector<local_album>& albums) {
  tree.clear();
  for (const local_album& a : albums) add_local(tree, nullptr, a);
  tree.expandAll();
}

void FillOnlineTree(QTreeWidget& tree, const online_albums& online,
                    const std::vector<local_album>& local) {
  tree.clear();
  QHash<QString, QString> linked;  // online id to local id
  collect_linked(local, linked);
  // Groups first, so that an album finds its group whatever the order of the list.
  QHash<QString, QTreeWidgetItem*> groups;
  for (const bool pass_groups : {true, false}) {
    for (const online_album& a : online.albums) {
      if (a.is_group() != pass_groups) continue;
      QTreeWidgetItem* parent = a.parents.isEmpty() ? nullptr : groups.value(a.parents);
      const QString localid = linked.value(a.onlineid);
      QTreeWidgetItem* item =
          add_item(tree, parent, a.label, localid.isEmpty() ? QString() : QStringLiteral("local"));
      item->setData(0, kLocalId, localid);
      item->setData(0, kOnlineId, a.onlineid);
      item->setData(0, kParents, a.parents);
      item->setData(0, kType, a.type);
      if (localid.isEmpty()) make_checkable(item, a.is_group(), Qt::Unchecked);
      if (a.is_group() && !groups.contains(a.label)) groups.insert(a.label, item);
    }
  }
  tree.expandAll();
}

std::vector<selection_entry> SelectionFromTrees(const QTreeWidget& local,
                                                const QTreeWidget& online) {
  std::vector<selection_entry> entries;
  for (int i = 0; i < local.topLevelItemCount(); ++i) {
    entries.push_back(local_entry(*local.topLevelItem(i)));
  }
  for (int i = 0; i < online.topLevelItemCount(); ++i) {
    if (auto e = online_entry(*online.topLevelItem(i))) entries.push_back(std::move(*e));
  }
  return entries;
}

}  // namespace vantor_dialog
