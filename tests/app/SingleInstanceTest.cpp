#include "app/shell/SingleInstance.h"

#include "app/shell/Diagnostics.h"
#include "app/shell/StartOptions.h"

#include <QDeadlineTimer>
#include <QFile>
#include <QLocalSocket>
#include <QLockFile>
#include <QProcess>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QtTest>

#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <thread>

namespace reelwright {
namespace {

    using Role = SingleInstance::Role;
    using namespace std::chrono_literals;

    constexpr int kWait = 30'000;

    /// A later start of the program, on a thread of its own, while this one's event loop runs.
    Role startAnother(const QString& socket, const QStringList& files)
    {
        std::atomic<bool> isOver = false;
        Role role = Role::First;
        std::thread thread {[&] {
            role = SingleInstance {socket}.start(files, 20s);
            isOver = true;
        }};
        const bool came = QTest::qWaitFor([&] { return isOver.load(); }, kWait);
        thread.join();
        return came ? role : Role::First;
    }

    /// A socket file that nobody listens at any more, as a crash leaves it.
    void leaveSocket(const QString& path)
    {
        sockaddr_un address {};
        address.sun_family = AF_UNIX;
        const auto name = QFile::encodeName(path);
        std::copy(name.begin(), name.end(), static_cast<char*>(address.sun_path));
        const int handle = ::socket(AF_UNIX, SOCK_STREAM, 0);
        void* untyped = &address;
        QCOMPARE(::bind(handle, static_cast<sockaddr*>(untyped), sizeof address), 0);
        ::close(handle);
        QVERIFY(QFile::exists(path));
    }

} // namespace

class SingleInstanceTest : public QObject
{
    Q_OBJECT

private slots:
    void aCrashIsNoticedOnce()
    {
        const QTemporaryDir folder;
        const auto path = folder.filePath(QStringLiteral("running")).toStdString();
        {
            const RunMarker first {path};
            QVERIFY(!first.hasCrashed());
            QVERIFY2(!RunMarker {path + "/other"}.hasCrashed(), "another folder");
        }
        QVERIFY(!RunMarker {path}.hasCrashed());
        for (const bool isKilled : {true, false}) {
            const int child = ::fork();
            if (child == 0) {
                const RunMarker lost {path};
                lost.noteCrashes();
                ::raise(isKilled ? SIGKILL : SIGSEGV);
            }
            QCOMPARE(::waitpid(child, nullptr, 0), child);
            QCOMPARE(RunMarker {path}.hasCrashed(), !isKilled);
        }
        QVERIFY(!RunMarker {path}.hasCrashed());
    }

    void diagnosticsHoldFactsAndLogs()
    {
        const QTemporaryDir folder;
        const auto log = folder.filePath(QStringLiteral("Reelwright.log"));
        QFile file {log};
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("opened clip.mov\n");
        file.close();
        const auto archive = folder.filePath(QStringLiteral("out.zip"));
        const auto problem = writeDiagnostics(
            archive, QStringLiteral("System: test\n"), {log, folder.filePath(QStringLiteral("missing.log"))});
        QVERIFY2(!problem, qPrintable(problem.value_or(QString())));
        QProcess reader;
        reader.start(QStringLiteral("python3"),
            {QStringLiteral("-c"),
                QStringLiteral("import sys, zipfile; z = zipfile.ZipFile(sys.argv[1]); "
                               "print(z.read('logs/Reelwright.log'), z.read('system.txt'))"),
                archive});
        QVERIFY(reader.waitForFinished());
        const auto text = reader.readAllStandardOutput();
        QVERIFY2(
            text.contains("opened clip.mov") && text.contains("Not read: ") && text.contains("System: test"),
            text);
        QVERIFY(writeDiagnostics(folder.filePath(QStringLiteral("no/such/out.zip")), {}, {}));
    }

    void init() { m_folder = std::make_unique<QTemporaryDir>(); }
    void theSecondStartHandsItsFilesOver();
    void aStartWithoutFilesAsksToBeSeen();
    void whatACrashLeftBehindStopsNobody();
    void anEndedInstanceMakesRoom();
    void oneThatDoesNotAnswerIsGivenUp();
    void withoutAPlaceItStartsAlone();
    void nonsenseIsNotAnswered_data();
    void nonsenseIsNotAnswered();
    void eachDisplayHasItsOwnSocketInAPrivateFolder();
    void commandLines_data();
    void commandLines();

private:
    [[nodiscard]] QString socket() const { return m_folder->filePath(QStringLiteral("socket")); }

    std::unique_ptr<QTemporaryDir> m_folder;
};

void SingleInstanceTest::theSecondStartHandsItsFilesOver()
{
    const QStringList files {QStringLiteral("/a folder/Überblick & mehr.mov"),
        QStringLiteral("/line\nbreak.mov"), QStringLiteral("/quote\".mov")};
    SingleInstance first {socket()};
    QSignalSpy activated {&first, &SingleInstance::activated};
    QCOMPARE(first.start({}), Role::First);
    QCOMPARE(startAnother(socket(), files), Role::HandedOver);
    QCOMPARE(activated.size(), 1);
    QCOMPARE(activated.front().front().toStringList(), files);
    // And the next one, too.
    QCOMPARE(startAnother(socket(), {files.front()}), Role::HandedOver);
    QCOMPARE(activated.size(), 2);
}

void SingleInstanceTest::aStartWithoutFilesAsksToBeSeen()
{
    qputenv("XDG_ACTIVATION_TOKEN", "token-7");
    SingleInstance first {socket()};
    QSignalSpy activated {&first, &SingleInstance::activated};
    QCOMPARE(first.start({}), Role::First);
    QCOMPARE(startAnother(socket(), {}), Role::HandedOver);
    qunsetenv("XDG_ACTIVATION_TOKEN");
    QCOMPARE(activated.size(), 1);
    QVERIFY(activated.front().front().toStringList().isEmpty());
    QCOMPARE(activated.front().at(1).toString(), QStringLiteral("token-7"));
}

void SingleInstanceTest::whatACrashLeftBehindStopsNobody()
{
    leaveSocket(socket());
    QFile lock {socket() + QStringLiteral(".lock")};
    QVERIFY(lock.open(QIODevice::WriteOnly));
    lock.write("4194999\nreelwright\n" + QSysInfo::machineHostName().toUtf8() + "\n"); // no such process
    lock.close();
    SingleInstance first {socket()};
    QSignalSpy activated {&first, &SingleInstance::activated};
    QCOMPARE(first.start({}), Role::First);
    QCOMPARE(startAnother(socket(), {QStringLiteral("/a.mov")}), Role::HandedOver);
    QCOMPARE(activated.size(), 1);
}

void SingleInstanceTest::anEndedInstanceMakesRoom()
{
    {
        SingleInstance first {socket()};
        QCOMPARE(first.start({}), Role::First);
    }
    QVERIFY(!QFile::exists(socket()));
    SingleInstance next {socket()};
    QCOMPARE(next.start({}), Role::First);
}

void SingleInstanceTest::oneThatDoesNotAnswerIsGivenUp()
{
    SingleInstance stuck {socket()};
    QCOMPARE(stuck.start({}), Role::First);
    // Its event loop does not run, so it takes the connection and says nothing.
    const QDeadlineTimer deadline {20'000};
    SingleInstance second {socket()};
    QCOMPARE(second.start({QStringLiteral("/a.mov")}, 100ms), Role::Alone);
    QVERIFY(!deadline.hasExpired());
}

void SingleInstanceTest::withoutAPlaceItStartsAlone()
{
    SingleInstance homeless {QString {}};
    QCOMPARE(homeless.start({}), Role::Alone);
    SingleInstance nowhere {m_folder->filePath(QStringLiteral("missing/socket"))};
    QCOMPARE(nowhere.start({}), Role::Alone);
}

void SingleInstanceTest::nonsenseIsNotAnswered_data()
{
    QTest::addColumn<QByteArray>("sent");
    QTest::newRow("no JSON") << QByteArray {"open sesame\n"};
    QTest::newRow("other JSON") << QByteArray {"{\"files\": 7}\n"};
    QTest::newRow("no end") << QByteArray {2 << 20, 'x'};
}

void SingleInstanceTest::nonsenseIsNotAnswered()
{
    QFETCH(QByteArray, sent);
    SingleInstance first {socket()};
    QSignalSpy activated {&first, &SingleInstance::activated};
    QCOMPARE(first.start({}), Role::First);
    QLocalSocket client;
    QSignalSpy disconnected {&client, &QLocalSocket::disconnected};
    client.connectToServer(socket());
    QVERIFY(client.waitForConnected(kWait));
    client.write(sent);
    QTRY_COMPARE_WITH_TIMEOUT(disconnected.size(), 1, 4000); // sooner than one that says nothing
    QVERIFY(client.readAll().isEmpty());
    QVERIFY(activated.isEmpty());
    QCOMPARE(startAnother(socket(), {}), Role::HandedOver);
}

void SingleInstanceTest::eachDisplayHasItsOwnSocketInAPrivateFolder()
{
    QVERIFY(QFile::setPermissions(m_folder->path(), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner));
    qputenv("XDG_RUNTIME_DIR", m_folder->path().toLocal8Bit());
    qputenv("DISPLAY", ":7");
    const auto seven = SingleInstance::sessionSocketPath();
    qputenv("DISPLAY", ":8/9");
    const auto eight = SingleInstance::sessionSocketPath();
    QVERIFY(seven.startsWith(m_folder->path() + QLatin1Char('/')));
    QVERIFY(eight.startsWith(m_folder->path() + QLatin1Char('/')));
    QVERIFY(seven != eight);
    QCOMPARE(eight.count(QLatin1Char('/')), seven.count(QLatin1Char('/')));

    // Others could answer in a folder that is open to them.
    QVERIFY(QFile::setPermissions(m_folder->path(),
        QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner | QFile::ReadOther | QFile::ExeOther));
    QVERIFY(!SingleInstance::sessionSocketPath().startsWith(m_folder->path()));
    qunsetenv("XDG_RUNTIME_DIR");
    qunsetenv("DISPLAY");
}

void SingleInstanceTest::commandLines_data()
{
    using Task = StartOptions::Task;
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<int>("task");
    QTest::addColumn<QStringList>("files");
    QTest::addColumn<bool>("newInstance");
    const auto row = [](const char* name, const QStringList& arguments, Task task, const QStringList& files,
                         bool newInstance = false) {
        QTest::newRow(name) << arguments << static_cast<int>(task) << files << newInstance;
    };
    const auto text = [](const char* value) { return QString::fromUtf8(value); };
    row("nothing", {}, Task::Start, {});
    row("a relative name", {text("a b.mov")}, Task::Start, {text("/clips/a b.mov")});
    row("a name above", {text("../x.mov")}, Task::Start, {text("/x.mov")});
    row("an absolute name", {text("/y/z.mov")}, Task::Start, {text("/y/z.mov")});
    row("a file address", {text("file:///y/%C3%BC%20z.mov")}, Task::Start, {text("/y/ü z.mov")});
    row("a name with percent", {text("100%25.mov")}, Task::Start, {text("/clips/100%25.mov")});
    row("a name with colon", {text("a:b.mov")}, Task::Start, {text("/clips/a:b.mov")});
    row("an address elsewhere", {text("https://example.org/a.mov")}, Task::Refuse, {});
    row("an own instance", {text("--new-instance"), text("a.mov")}, Task::Start, {text("/clips/a.mov")},
        true);
    row("a name like an option", {text("--"), text("--help")}, Task::Start, {text("/clips/--help")});
    row("help", {text("a.mov"), text("--help")}, Task::ShowHelp, {text("/clips/a.mov")});
    row("version", {text("-v")}, Task::ShowVersion, {});
    row("an unknown option", {text("--frob")}, Task::Refuse, {});
    row("an empty name", {QString {}}, Task::Refuse, {});
}

void SingleInstanceTest::commandLines()
{
    QFETCH(QStringList, arguments);
    QFETCH(int, task);
    QFETCH(QStringList, files);
    QFETCH(bool, newInstance);
    const auto options = StartOptions::parse(arguments, QStringLiteral("/clips"));
    QCOMPARE(static_cast<int>(options.task), task);
    QCOMPARE(options.files, files);
    QCOMPARE(options.newInstance, newInstance);
    QCOMPARE(options.problem.isEmpty(), options.task != StartOptions::Task::Refuse);
}

} // namespace reelwright

QTEST_GUILESS_MAIN(reelwright::SingleInstanceTest)
#include "SingleInstanceTest.moc"
