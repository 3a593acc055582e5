#include "app/onboarding/OnboardingWindow.h"

#include "app/onboarding/OnboardingSwitch.h"
#include "app/widgets/WindowText.h"

#include <QFrame>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

namespace tessary {

using namespace Qt::StringLiterals;

OnboardingWindow::OnboardingWindow(QList<AgentOffer> offers, bool launchesAtLogin,
                                   const Localization& localization, QWidget* parent)
    : QDialog(parent)
    , m_offers(std::move(offers))
    , m_localization(localization) {
    const auto text = [this](const QString& key) { return m_localization.text(key); };
    setWindowTitle(text(u"Welcome to Tessary"_s));
    setAccessibleName(windowTitle());
    setModal(false);
    setMinimumWidth(520);

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(28, 24, 28, 20);
    layout->setSpacing(14);

    QLabel* title = makeTextLabel(text(u"Welcome to Tessary"_s), this, 1.6, true);
    layout->addWidget(title);
    QLabel* intro =
        makeTextLabel(text(u"Tessary shows what your coding agents are doing and answers their questions "
                           u"from the screen. It connects to each agent through the agent's own hooks; your "
                           u"own hooks stay as they are."_s),
                      this);
    layout->addWidget(intro);

    QLabel* agentsHeading = makeTextLabel(text(u"Agents on this computer"_s), this, 1.0, true);
    layout->addWidget(agentsHeading);

    auto* list = new QFrame(this);
    list->setFrameShape(QFrame::StyledPanel);
    list->setAccessibleName(agentsHeading->text());
    auto* listLayout = new QVBoxLayout(list);
    listLayout->setContentsMargins(14, 10, 14, 10);
    listLayout->setSpacing(10);
    if (m_offers.isEmpty()) {
        QLabel* none =
            makeTextLabel(text(u"No coding agent was found on this computer. When you install Claude Code or "
                               u"Codex, Tessary connects to it at its next start."_s),
                          list);
        dimLabel(none);
        listLayout->addWidget(none);
    }
    for (qsizetype i = 0; i < m_offers.size(); ++i) {
        if (i > 0) {
            auto* line = new QFrame(list);
            line->setFrameShape(QFrame::HLine);
            line->setFrameShadow(QFrame::Sunken);
            listLayout->addWidget(line);
        }
        listLayout->addWidget(makeAgentRow(m_offers[i]));
    }
    layout->addWidget(list);

    auto* loginRow = new QHBoxLayout;
    loginRow->setSpacing(12);
    QLabel* loginLabel = makeTextLabel(text(u"Open Tessary when you log in"_s), this);
    m_loginSwitch = new OnboardingSwitch(this);
    m_loginSwitch->setChecked(launchesAtLogin);
    m_loginSwitch->setAccessibleName(loginLabel->text());
    m_loginSwitch->setObjectName(u"launchAtLogin"_s);
    loginLabel->setBuddy(m_loginSwitch);
    loginRow->addWidget(loginLabel, 1);
    loginRow->addWidget(m_loginSwitch, 0, Qt::AlignVCenter);
    layout->addLayout(loginRow);

    QLabel* later = makeTextLabel(text(u"You can change these choices later in Settings."_s), this);
    dimLabel(later);
    layout->addWidget(later);
    layout->addStretch(1);

    auto* buttons = new QHBoxLayout;
    buttons->addStretch(1);
    m_later = new QPushButton(text(u"Later"_s), this);
    m_later->setAccessibleName(m_later->text());
    m_later->setAccessibleDescription(text(u"Closes this window; it comes back at the next start"_s));
    m_later->setAutoDefault(false);
    m_start = new QPushButton(text(u"Start"_s), this);
    m_start->setAccessibleName(m_start->text());
    m_start->setAccessibleDescription(text(u"Connects the chosen agents and starts Tessary"_s));
    m_start->setDefault(true);
    buttons->addWidget(m_later);
    buttons->addWidget(m_start);
    layout->addLayout(buttons);

    connect(m_start, &QPushButton::clicked, this, &QDialog::accept);
    connect(m_later, &QPushButton::clicked, this, &QDialog::reject);

    // Keyboard order follows the reading order: each agent's switch, the login switch, Later, Start.
    QWidget* previous = nullptr;
    for (const AgentOffer& offer : m_offers) {
        if (OnboardingSwitch* toggle = m_agentSwitches.value(offer.id)) {
            if (previous) {
                setTabOrder(previous, toggle);
            }
            previous = toggle;
        }
    }
    for (QWidget* next : {static_cast<QWidget*>(m_loginSwitch), static_cast<QWidget*>(m_later),
                          static_cast<QWidget*>(m_start)}) {
        if (previous) {
            setTabOrder(previous, next);
        }
        previous = next;
    }
    QWidget* first = m_agentSwitches.isEmpty() ? static_cast<QWidget*>(m_start) : m_agentSwitches.first();
    for (const AgentOffer& offer : m_offers) {
        if (m_agentSwitches.contains(offer.id)) {
            first = m_agentSwitches.value(offer.id);
            break;
        }
    }
    first->setFocus();
}

QWidget* OnboardingWindow::makeAgentRow(const AgentOffer& offer) {
    auto* row = new QWidget;
    row->setAccessibleName(offer.name);
    auto* layout = new QHBoxLayout(row);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(12);

    auto* texts = new QVBoxLayout;
    texts->setSpacing(3);
    auto* heading = new QHBoxLayout;
    heading->setSpacing(8);
    QLabel* name = makeTextLabel(offer.name, row, 1.05, true);
    heading->addWidget(name);
    if (offer.isConnected) {
        QLabel* status = makeTextLabel(m_localization.text(u"Connected"_s), row, 0.9);
        dimLabel(status);
        heading->addWidget(status);
    }
    heading->addStretch(1);
    texts->addLayout(heading);
    QLabel* detail = makeTextLabel(offer.detail, row, 0.92);
    dimLabel(detail);
    texts->addWidget(detail);
    layout->addLayout(texts, 1);

    if (offer.canConnect()) {
        auto* toggle = new OnboardingSwitch(row);
        toggle->setObjectName(offer.id);
        // On unless the user turned this agent down before.
        toggle->setChecked(!offer.isDeclined);
        toggle->setAccessibleName(m_localization.format(u"Connect %1"_s, offer.name));
        toggle->setAccessibleDescription(offer.detail);
        name->setBuddy(toggle);
        layout->addWidget(toggle, 0, Qt::AlignVCenter);
        m_agentSwitches.insert(offer.id, toggle);
    }
    return row;
}

QMap<QString, bool> OnboardingWindow::choices() const {
    QMap<QString, bool> result;
    for (auto it = m_agentSwitches.constBegin(); it != m_agentSwitches.constEnd(); ++it) {
        result.insert(it.key(), it.value()->isChecked());
    }
    return result;
}

bool OnboardingWindow::launchAtLogin() const {
    return m_loginSwitch->isChecked();
}

void OnboardingWindow::done(int result) {
    QDialog::done(result);
    if (m_answered) {
        return;
    }
    m_answered = true;
    if (result == QDialog::Accepted) {
        if (onStart) {
            onStart(choices(), launchAtLogin());
        }
    } else if (onLater) {
        onLater();
    }
}

} // namespace tessary
