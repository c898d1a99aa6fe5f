#pragma once

#include "support/Testing.h"
#include <QTcpServer>
#include <QTcpSocket>

namespace ovalin {

/// An HTTP server on this machine that answers each path as the test says and remembers what it was asked. It lives in
/// the test's thread: the event loop has to run.
class HttpServer {
public:
    std::map<QByteArray, QByteArray> answers; ///< path to status line and headers; "" never answers, "-" closes at once
    std::map<QByteArray, QByteArray> pages;   ///< path to the HTML that it answers with instead
    QList<QByteArray> requests;               ///< the heads, in order

    explicit HttpServer(const QHostAddress& address = QHostAddress::LocalHost) {
        server.setListenBacklogSize(500);
        server.setMaxPendingConnections(500);
        listening = server.listen(address);
        QObject::connect(&server, &QTcpServer::newConnection, &server, [this] {
            while (QTcpSocket* socket = server.nextPendingConnection())
                QObject::connect(socket, &QTcpSocket::readyRead, socket, [this, socket] { read(socket); });
        });
    }

    bool listening = false;

    [[nodiscard]] QString url(const QString& path) const {
        const QString host =
            server.serverAddress().protocol() == QAbstractSocket::IPv6Protocol ? u"[::1]"_s : u"127.0.0.1"_s;
        return u"http://%1:%2%3"_s.arg(host).arg(server.serverPort()).arg(path);
    }
    [[nodiscard]] QList<QByteArray> paths() const {
        QList<QByteArray> all;
        for (const QByteArray& request : requests)
            all.append(request.split(' ').value(1));
        return all;
    }

private:
    void read(QTcpSocket* socket) {
        QByteArray head = socket->property("head").toByteArray() + socket->readAll();
        for (qsizetype end = head.indexOf("\r\n\r\n"); end >= 0; end = head.indexOf("\r\n\r\n")) {
            requests.append(head.first(end));
            head.remove(0, end + 4);
            const QByteArray path = requests.last().split(' ').value(1), page = pages[path];
            const QByteArray answer = page.isEmpty() ? answers[path] : "200 OK\r\nContent-Type: text/html";
            if (answer == "-")
                return socket->close();
            if (!answer.isEmpty())
                socket->write("HTTP/1.1 " + answer + "\r\nContent-Length: " + QByteArray::number(page.size()) +
                              "\r\n\r\n" + page);
        }
        socket->setProperty("head", head);
    }

    QTcpServer server;
};

} // namespace ovalin
