#pragma once

#include "widgets/dictionarydialog.h"
#include "widgets/scantaker.h"

/// Edits a supplier article of a product, or with id 0 adds one. A wareid of 0 stands for a
/// product that is not saved yet.
class ArticleDialog : public DictionaryDialog, public ScanTaker
{
    Q_OBJECT

public:
    ArticleDialog(qulonglong id, qulonglong wareid, QWidget *parent);

    /// A code that is scanned is the article: some suppliers print theirs as bars.
    void takeScan(const QString &code) override;

    static Dictionary dictionary();

protected:
    bool mayBeSaved() override;
    void keyPressEvent(QKeyEvent *event) override;
};
