// What one prediction costs while the user types: 200 prompts, a learned lexicon; then prompts from 1 kB to 1 MB, which
// show that the cost grows with the length and no faster.
#include "intent/IntentClassifier.h"

#include <QStringList>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <vector>

using namespace ovalin;
using namespace Qt::StringLiterals;

namespace {

using Nanoseconds = std::chrono::duration<double, std::nano>;

int sink = 0; // keeps the compiler from leaving the work out

QStringList prompts() {
    const QStringList forms{
        u"what's the difference between %1 and the other one?"_s,
        u"hey torvi remind me tomorrow about %1"_s,
        u"can you please explain %1"_s,
        u"could you draft a reply about %1, friendly but short, and put the numbers in a table"_s,
        u"fix %1"_s,
        u"should I buy the cheaper %1"_s,
        u"translate %1 to French"_s,
        u"Send %1 to my e-reader tonight"_s,
        u"is %1 better than what we had, and why do you think so?"_s,
        u"ok so add %1 to the roadmap"_s,
        u"compare %1 vs the alternative"_s,
        u"Würde %1 auch im März möglich sein?"_s,
        u"summarize this page about %1 in three sentences for someone who has never heard of it, please"_s,
        u"rewrite %1 in a calmer tone"_s,
        u"who's behind %1"_s,
        u"schedule a call on monday about %1"_s,
        u"find three sources on %1 and tell me which one is the most recent"_s,
        u"%1"_s,
        u"why does %1 fail with \"permission denied\" when I run it from cron but not from my shell?"_s,
        u"что такое %1"_s,
    };
    const QStringList objects{u"this"_s,
                              u"the invoice from last month"_s,
                              u"Anna's proposal"_s,
                              u"the second paragraph"_s,
                              u"this GPU"_s,
                              u"the build script"_s,
                              u"the flight to Lisbon"_s,
                              u"that bug report"_s,
                              u"my notes"_s,
                              u"the quarterly figures, the ones with the wrong currency"_s};
    QStringList all;
    for (const QString& form : forms) {
        for (const QString& object : objects)
            all.append(form.arg(object));
    }
    return all;
}

double nanosecondsPerCall(const QString& prompt, const IntentLexicon& lexicon, int calls) {
    const auto begin = std::chrono::steady_clock::now();
    for (int call = 0; call < calls; ++call)
        sink += classifyIntent(prompt, (call & 1) != 0, &lexicon).score;
    return Nanoseconds(std::chrono::steady_clock::now() - begin).count() / calls;
}

} // namespace

int main() {
    const QStringList all = prompts();
    IntentLexicon lexicon;
    for (const QString& prompt : all)
        lexicon.record(intentHeadToken(prompt), prompt.endsWith(u'?'));
    for (int word = 0; word < 2000; ++word)
        lexicon.record(u"word%1"_s.arg(word), true);

    qsizetype letters = 0;
    std::vector<double> times;
    for (const QString& prompt : all) {
        letters += prompt.size();
        nanosecondsPerCall(prompt, lexicon, 100);
        times.push_back(nanosecondsPerCall(prompt, lexicon, 1000));
    }
    std::sort(times.begin(), times.end());
    std::printf("%zu prompts of %.0f letters, a lexicon of %lld words: median %.3f us, p95 %.3f us, max %.3f us\n",
                times.size(), static_cast<double>(letters) / static_cast<double>(all.size()),
                static_cast<long long>(lexicon.heads.size()), times[times.size() / 2] / 1000,
                times[times.size() * 95 / 100] / 1000, times.back() / 1000);

    const QString text = all.join(u' ');
    for (qsizetype size = 1000; size <= 1'000'000; size *= 10) {
        const QString longPrompt = text.repeated(size / text.size() + 1).first(size);
        const int calls = static_cast<int>(10'000'000 / size);
        const double time = nanosecondsPerCall(longPrompt, lexicon, calls);
        std::printf("%7lld letters: %10.1f us, %.2f ns a letter\n", static_cast<long long>(size), time / 1000,
                    time / static_cast<double>(size));
    }
    return sink == 42 ? 1 : 0;
}
