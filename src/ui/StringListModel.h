// A one-column table over a list of texts that the shared settings own (the folders to scan,
// the custom extensions): the model shows the list and reloads when the window changed it.
#pragma once

#include <string>
#include <vector>

#include <QAbstractListModel>

namespace kelvora {

class StringListModel : public QAbstractListModel {
    Q_OBJECT
public:
    // rows must outlive the model.
    StringListModel(std::vector<std::string>& rows, QObject* parent);

    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;

    // After the window changed the list as a whole.
    void reload();

protected:
    std::vector<std::string>& rows_;
};

}  // namespace kelvora
