#include "panel/Sentences.h"
#include "support/Testing.h"

TEST(Sentences, AreTheSameHoweverTheTextArrives) {
    const QString text =
        u"It is 3.14. So "_s + u"on and on "_s.repeated(30) + u"to its end. A line\nAnd \"more.\" The rest"_s;
    for (const qsizetype piece : {1, 7, 100, 1000}) {
        Sentences sentences;
        QStringList said;
        for (qsizetype at = 0; at < text.size(); at += piece) {
            sentences.add(text.mid(at, piece));
            if (const QString complete = sentences.takeComplete(); !complete.isEmpty())
                said << complete;
        }
        said << sentences.takeRest();
        EXPECT_EQ(said.join(u' ').simplified(), text.simplified()) << piece;
        EXPECT_EQ(said.last(), u"The rest"_s) << piece;
        if (piece == 1)
            EXPECT_EQ(said.size(), 5) << said.join(u'|').toStdString();
    }
}
