#pragma once

#include <QList>
#include <QString>
#include <QStringList>

#include <memory>

#include "app/backgroundwork.h"
#include "images/storerequests.h"
#include "images/storesettings.h"

class ImagesStore;
class QWidget;

/// Copies all pictures of one store to another, in either direction. What is there already in the
/// same size and not older stays; in the end the sizes are compared. Nothing is deleted.
class StoreCopy final : public BackgroundWork
{
    Q_OBJECT

public:
    StoreCopy(const ImagesStoreSettings &from, const ImagesStoreSettings &to,
              QObject *parent = nullptr);
    ~StoreCopy() override;

    /// What it came to, in words for the user.
    QString result() const;

    /// Whether every file of the one store stands in the other one now, in the same size.
    bool isComplete() const;

protected:
    void begin() override;
    void letGo() override;

private:
    void list(ImagesStore &store, StoreFiles &files, void (StoreCopy::*then)());
    void compareBefore();
    void copyNext();
    void copy(const QString &name);
    void notRead(const QString &name, const QString &reason);
    void copied(const QString &name, const QString &reason);
    void compareAfter();

    std::unique_ptr<ImagesStore> m_from;
    std::unique_ptr<ImagesStore> m_to;
    StoreFiles m_source;
    StoreFiles m_target;
    QStringList m_waiting;
    int m_running = 0;
    int m_failuresInRow = 0;
    int m_total = 0;
    int m_present = 0;
    int m_copied = 0;
    QStringList m_failed;
    QStringList m_different; ///< in the end
    bool m_compared = false;
};

/// Offers to copy all pictures when another store has been chosen, and does it with progress; tells
/// the result over the parent. Returns once it has been asked.
void offerStoreCopy(QWidget *parent, const ImagesStoreSettings &former,
                    const ImagesStoreSettings &now);
