#include "income/postingtalk.h"

#include "app/messages.h"
#include "sms/sendsmsdialog.h"
#include "widgets/runwithprogress.h"

PostingTalk::PostingTalk(QWidget *parent)
    : m_parent(parent)
{
}

bool PostingTalk::askAboutMissed(const QList<MissedCode> &missed,
                                 const std::function<void()> &showMissed) const
{
    QStringList codes;
    for (const MissedCode &code : missed)
        codes += tr("%1 (раз: %2)").arg(code.code).arg(code.times);
    if (codes.isEmpty())
        return true;
    BoxRequest request;
    request.text = tr("Не все отсканированные коды найдены: этих товаров нет в приходе. Провести "
                      "накладную без них?");
    request.note = shortened(codes, 5).join(u'\n');
    request.buttons = {tr("Продолжить без них"), tr("Показать коды"), tr("Отмена")};
    request.defaultButton = 1;
    request.escapeButton = 2;
    const int choice = askQuestion(m_parent, request);
    if (choice == 1)
        showMissed();
    return choice == 0;
}

PostingTalk::Answer PostingTalk::ask(ReceiptPosting &posting, const ReceiptSummary &summary) const
{
    BoxRequest request;
    request.text = tr("<h3>Провести накладную?</h3><p>Будут обновлены: остаток, приходная цена, "
                      "расходная цена. Выберите способ оплаты товара.</p>");
    request.note = summary.text();
    request.buttons = {tr("Провести (наличными)"), tr("Провести (безналичными)"), tr("Отмена")};
    request.defaultButton = 2;
    request.escapeButton = 2;
    request.html = true;
    switch (askQuestion(m_parent, request)) {
    case 0:
        return {.post = true, .paymentType = PaymentType::Cash};
    case 1:
        return {.post = true, .paymentType = PaymentType::Cashless};
    default:
        return {.listChanged = posting.hasChanged()};
    }
}

PostingResult PostingTalk::post(ReceiptPosting &posting, PaymentType paymentType) const
{
    PostingResult result;
    runWithProgress(m_parent, tr("Перемещение на склад..."), Stopping::Never,
                    [&](Progress &progress) {
                        int total = 0;
                        PostingCallbacks callbacks;
                        callbacks.started = [&](int lines) {
                            total = lines;
                            progress.step(0, total);
                        };
                        callbacks.progress = [&](int done) {
                            progress.step(done, total);
                        };
                        result = posting.post(paymentType, callbacks);
                    });
    return result;
}

void PostingTalk::showResult(const PostingResult &result) const
{
    if (result.message.isEmpty())
        return;
    if (!result.details.isEmpty())
        showFailure(m_parent, result.message, result.details);
    else if (result.outcome == PostingOutcome::Posted)
        showInformation(m_parent, result.message);
    else
        showWarning(m_parent, result.message);
}

void PostingTalk::tellCustomers(const QList<DueAlert> &due)
{
    AlertReport report;
    runWithProgress(
        m_parent, tr("Отправка СМС покупателям..."), Stopping::Harmless, [&](Progress &progress) {
            AlertCallbacks callbacks;
            callbacks.progress = progress.steps();
            callbacks.send = [&](const QString &phone, const QString &text, SmsRun &run) {
                return sendSms(progress.window(), phone, text, &run);
            };
            report = m_customerAlerts.tell(due, callbacks);
        });
    if (!report.text().isEmpty())
        showInformation(m_parent, report.text());
}
