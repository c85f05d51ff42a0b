#include "Messages.h"

#include <doctest/doctest.h>

#include <map>
#include <string>
#include <vector>

namespace {

using Texts = std::vector<std::wstring>;

struct Language {
    std::vector<LCID> lcids; // all that select it; English is also what every other one gets
    Texts texts;             // by role
};

// clang-format off
const Language Languages[] = {
    {{0x0804}, {
        L"请手动输入您的帐户信息以登录",
        L"请刷入指纹",
        L"密码错误",
        L"请再刷一次",
        L"加载",
        L"指纹感应失败",
    }},
    {{0x0404, 0x0C04, 0x1004}, {
        L"請手動輸入您的帳戶資料以登入",
        L"請刷入指紋",
        L"密碼錯誤",
        L"請再刷一次",
        L"載入",
        L"指紋感應失敗",
    }},
    {{0x0409}, {
        L"Please manually enter your account information to log in",
        L"Please scan a finger",
        L"Wrong password",
        L"Please swipe your finger over the scanner again.",
        L"Loading…",
        L"Fingerprint sensor failed.",
    }},
    {{0x0412}, {
        L"계정 정보를 수동으로 입력하여 로그인 하십시오",
        L"지문을 스캔하십시오",
        L"틀린 암호",
        L"손가락을 스캐너에 다시 대십시오.",
        L"로드 중…",
        L"지문 센서 오류입니다.",
    }},
    {{0x040A, 0x080A, 0x0C0A, 0x100A, 0x140A, 0x180A, 0x1C0A, 0x200A, 0x240A, 0x280A, 0x2C0A,
        0x300A, 0x340A, 0x380A, 0x3C0A, 0x400A, 0x440A, 0x480A, 0x4C0A, 0x500A, 0x540A, 0xE40A}, {
        L"Especifique manualmente la información de su cuenta para iniciar sesion",
        L"Escanee un dedo",
        L"Contraseña incorrecta",
        L"Vuelva a deslizar rápidamente sobre el escáner.",
        L"Cargando…",
        L"Error del sensor de huellas dactilares.",
    }},
    {{0x0410, 0x0810}, {
        L"Inserite manualmente le vostre informazioni utente per effettuare l'accesso",
        L"Eseguite la scansione di un'impronta digitale",
        L"Password errata.",
        L"Passate nuovamente il dito sullo scanner.Caricamento in corso...",
        L"Errore del sensore per le impronte digitali.",
        L"",
    }},
    {{0x0419, 0x0819}, {
        L"Используйте Вашу учетную запись для входа вручную",
        L"Выполните сканирование отпечатка пальца",
        L"Неверный пароль",
        L"Please scan again",
        L"Загрузка",
        L"Ошибка сканера отпечатков пальцев.",
    }},
    {{0x040C, 0x080C, 0x0C0C, 0x100C, 0x140C, 0x180C, 0x1C0C, 0x200C, 0x240C, 0x280C, 0x2C0C,
        0x300C, 0x340C, 0x380C, 0x3C0C, 0xE40C}, {
        L"Veuillez entrer vos informations de compte manuellement pour vous connecter",
        L"Veuillez numériser une empreinte digitale",
        L"Mot de passe incorrect",
        L"Veuillez faire glisser de nouveau votre doigt sur le lecteur d'empreintes digitales.",
        L"Chargement…",
        L"Échec d'exécution du lecteur d'empreintes digitales.",
    }},
    {{0x0401, 0x0801, 0x0C01, 0x1001, 0x1401, 0x1801, 0x1C01, 0x2001, 0x2401, 0x2801, 0x2C01,
        0x3001, 0x3401, 0x3801, 0x3C01, 0x4001}, {
        L"فضلًا أدخل معلومات حسابك يدويًا لتسجيل الدخول.",
        L"فضلًا امسح أحد الأصابع.",
        L"Wrong password",
        L"فضلًا اضغط بإصبعك فوق الماسح الضوئي مرة أخرى.",
        L"جاري التحميل...",
        L"فشل مستشعر البصمات.",
    }},
    {{0x0411}, {
        L"ログインするには、アカウント情報を手動で入力してください",
        L"指紋をスキャンしてください",
        L"不正なパスワード",
        L"スキャナー上で指紋を再度ゆっくりなぞります。",
        L"ロード中",
        L"指紋センサーが使用できません",
    }},
    {{0x0416, 0x0816}, {
        L"Introduza manualmente as informações da sua conta para iniciar sessão",
        L"Efectue a leitura de um dedo",
        L"Palavra-passe errada",
        L"digitalize novamente",
        L"A carregar…",
        L"O leitor de impressões digitais falhou.",
    }},
    {{0x0407, 0x0807, 0x0C07, 0x1007, 0x1407}, {
        L"Bitte geben Sie Ihre Kontendaten zur Anmeldung manuell ein",
        L"Bitte scannen Sie einen Finger",
        L"Falsches Kennwort",
        L"Bitte wischen Sie noch einmal mit dem Finger über den Scanner.",
        L"Laden...",
        L"Fingerabdrucksensor fehlgeschlagen.",
    }},
};
// clang-format on

Texts Current()
{
    return Texts(g_Messages.begin(), g_Messages.end());
}

const Texts AtLoad = Current();

TEST_CASE("every language in its own words, the same language in another sort order in English")
{
    constexpr LCID korean = 0x0412;
    std::map<LCID, Texts> expected;
    for (const Language& language : Languages) {
        for (const LCID lcid : language.lcids)
            expected[lcid] = language.texts;
    }
    // Dutch keeps what is there.
    expected[0x0413] = expected[0x0813] = expected[korean];
    CHECK(AtLoad == expected[0x0409]);

    std::vector<LCID> wrong;
    for (LCID lcid = 0; lcid < 0x20000; ++lcid) {
        SelectMessages(korean);
        SelectMessages(lcid);
        if (Current() != expected[expected.contains(lcid) ? lcid : 0x0409])
            wrong.push_back(lcid);
    }
    CHECK(wrong == std::vector<LCID>{});
}

} // namespace
