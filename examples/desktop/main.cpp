// A window that signs its user in and lists the files that an API has for them. The window never
// blocks: requests run on threads of the library, which post their outcome to the window.
//
//   desktop CONFIGURATION-URL API-URL

#include "auth/COIDCHelper.h"
#include "auth/OIDCError.h"
#include "host/standalone/FilePermit.h"
#include "host/standalone/FileTokenStore.h"
#include "ui_Window.h"

#include <QtNetwork>
#include <QtWidgets>

namespace {

using auth::COIDCToken;
using auth::OIDCError;

class Window final : public QWidget {
public:
    // [helper]
    Window(const QString& configUrl, const QUrl& api, const std::filesystem::path& file)
        : m_helper(std::make_unique<standalone::FileTokenStore<COIDCToken>>(file),
                   standalone::FilePermit::make(standalone::lockFileOf(file)), nullptr) {
        m_request.configUrl = configUrl.toStdString();
        m_request.clientId = "demo-app";
        m_request.scopes = "openid api:read";
        m_request.redirectUrls = {"http://127.0.0.1:48123/callback",
                                  "http://127.0.0.1:51739/callback"};
        // [helper]
        m_call.setUrl(api);
        m_call.setTransferTimeout(30'000);
        m_network.setRedirectPolicy(
            QNetworkRequest::SameOriginRedirectPolicy);  // other servers do not get the token
        m_ui.setupUi(this);
        connect(m_ui.signIn, &QPushButton::clicked, this, [this] { list(true); });
        connect(m_ui.reload, &QPushButton::clicked, this, [this] { list(false); });
        connect(m_ui.signOut, &QPushButton::clicked, this, &Window::signOut);
        connect(m_ui.cancel, &QPushButton::clicked, this, [this] { m_cancel.cancel(); });
        showUser({});
        list(false);  // for a user who has signed in before
    }

    // [end]
    ~Window() override {
        m_cancel.cancel();
        m_last.wait();  // short: the continuation only posts
    }
    // [end]

private:
    // [ask]
    void list(bool mayAskUser) {
        m_request.mayAskUser = mayAskUser;
        m_cancel = {};  // a source can be cancelled only once
        follow(m_helper.getOIDCTokenHybridAsync(m_request, m_cancel.get_token()),
               mayAskUser ? tr("Go on in your browser…") : tr("Looking who is signed in…"),
               [this](const auto& outcome) {
                   showUser(outcome.get());
                   load(outcome.get().accessToken().toUtf8());
               });
    }
    // [ask]

    void signOut() {
        m_cancel = {};
        follow(m_helper.signOutAsync(m_cancel.get_token()), tr("Signing out…"),
               [this](const auto& outcome) {
                   outcome.get();
                   showUser({});
                   showState(tr("You are signed out."));
               });
    }

    // [follow]
    /// Calls `then` on the window's thread when the request has ended, with any outcome.
    template <class T, class Then>
    void follow(const Concurrency::task<T>& request, const QString& doing, Then then) {
        showState(doing, true);
        m_last = request.then([this, then](const Concurrency::task<T>& outcome) {
            const auto show = [this, then, outcome] {
                try {
                    then(outcome);
                } catch (...) {
                    showFailure(OIDCError::of(std::current_exception()));
                }
            };
            QMetaObject::invokeMethod(this, show, Qt::QueuedConnection);
        });
    }
    // [follow]

    void load(const std::string& accessToken) {
        showState(tr("Loading your files…"), true);
        m_call.setRawHeader("Authorization", QByteArray::fromStdString("Bearer " + accessToken));
        QNetworkReply* const reply = m_network.get(m_call);
        connect(m_ui.cancel, &QPushButton::clicked, reply, &QNetworkReply::abort);
        connect(reply, &QNetworkReply::finished, this, [this, reply] {
            reply->deleteLater();
            if (reply->error() != QNetworkReply::NoError) {
                return showState(tr("Your files were not loaded: %1").arg(reply->errorString()));
            }
            m_ui.files->clear();
            m_ui.files->addItems(
                QJsonDocument::fromJson(reply->readAll()).toVariant().toStringList());
            showState(tr("%1 files").arg(m_ui.files->count()));
        });
    }

    void showFailure(const OIDCError& failure) {
        if (failure.kind() == OIDCError::Kind::signInNeeded) {
            showUser({});
        }
        showState(failure.kind() == OIDCError::Kind::signInNeeded ? tr("Sign in to see your files.")
                  : failure.kind() == OIDCError::Kind::cancelled  ? tr("Cancelled.")
                  : failure.canRetry() ? tr("The sign-in service does not answer. Try again later.")
                                       : tr("That did not work: %1").arg(failure.what()));
    }

    void showUser(const COIDCToken& token) {
        const auto claims = token.idTokenClaims();
        const auto until =
            std::chrono::time_point_cast<std::chrono::milliseconds>(token.expiresAt());
        m_user = QString::fromStdString(claims.name().value_or(claims.subject().value_or("")));
        m_ui.initial->setText(m_user.left(1).toUpper());
        m_ui.name->setText(m_user.isEmpty() ? tr("Not signed in") : m_user);
        m_ui.until->setText(tr("Access until %1")
                                .arg(QLocale().toString(QDateTime::fromMSecsSinceEpoch(
                                                            until.time_since_epoch().count()),
                                                        QLocale::ShortFormat)));
        m_ui.files->clear();
    }

    void showState(const QString& text, bool isBusy = false) {
        const bool isSignedIn = !m_user.isEmpty();
        m_ui.initial->setVisible(isSignedIn);
        m_ui.until->setVisible(isSignedIn);
        m_ui.signIn->setVisible(!isSignedIn);
        m_ui.signOut->setVisible(isSignedIn);
        m_ui.actions->setDisabled(isBusy);
        m_ui.reload->setDisabled(isBusy || !isSignedIn);
        m_ui.busy->setVisible(isBusy);
        m_ui.status->setText(text);
        setWindowTitle(tr("%1 – Files").arg(isBusy ? text : m_ui.name->text()));
    }

    Ui::Window m_ui;
    QString m_user;
    QNetworkAccessManager m_network;
    QNetworkRequest m_call;
    // [members]
    auth::COIDCHelper m_helper;
    auth::UserRequest m_request;
    Concurrency::cancellation_token_source m_cancel;
    Concurrency::task<void> m_last = Concurrency::task_from_result();
    // [members]
};

std::filesystem::path tokenFile(const QString& configUrl) {
    QString folder = qEnvironmentVariable("XDG_STATE_HOME");
    if (QDir::isRelativePath(folder)) {
        folder = QDir::homePath() + "/.local/state";
    }
    // A store holds the token of one provider, so each provider needs its own file.
    const QString name = QUrl::toPercentEncoding(configUrl);
    return (folder + "/oidcauth-desktop/" + name + ".token").toStdU16String();
}

}  // namespace

int main(int argc, char** argv) {
    const QApplication application(argc, argv);
    const QStringList arguments = QApplication::arguments();
    if (arguments.size() != 3) {
        qCritical("usage: desktop CONFIGURATION-URL API-URL");
        return 2;
    }
    Window window(arguments[1], arguments[2], tokenFile(arguments[1]));
    window.show();
    return QApplication::exec();
}
