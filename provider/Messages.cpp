#include "Messages.h"

namespace {

// clang-format off
// In role order. English texts in other sets, the Italian set's merged and shifted entries and missing accents are
// the product's texts as they are.
constexpr MessageSet ChineseSimplified = {
    L"请手动输入您的帐户信息以登录",
    L"请刷入指纹",
    L"密码错误",
    L"请再刷一次",
    L"加载",
    L"指纹感应失败",
};

constexpr MessageSet ChineseTraditional = {
    L"請手動輸入您的帳戶資料以登入",
    L"請刷入指紋",
    L"密碼錯誤",
    L"請再刷一次",
    L"載入",
    L"指紋感應失敗",
};

constexpr MessageSet English = {
    L"Please manually enter your account information to log in",
    L"Please scan a finger",
    L"Wrong password",
    L"Please swipe your finger over the scanner again.",
    L"Loading…",
    L"Fingerprint sensor failed.",
};

constexpr MessageSet Korean = {
    L"계정 정보를 수동으로 입력하여 로그인 하십시오",
    L"지문을 스캔하십시오",
    L"틀린 암호",
    L"손가락을 스캐너에 다시 대십시오.",
    L"로드 중…",
    L"지문 센서 오류입니다.",
};

constexpr MessageSet Spanish = {
    L"Especifique manualmente la información de su cuenta para iniciar sesion",
    L"Escanee un dedo",
    L"Contraseña incorrecta",
    L"Vuelva a deslizar rápidamente sobre el escáner.",
    L"Cargando…",
    L"Error del sensor de huellas dactilares.",
};

constexpr MessageSet Italian = {
    L"Inserite manualmente le vostre informazioni utente per effettuare l'accesso",
    L"Eseguite la scansione di un'impronta digitale",
    L"Password errata.",
    L"Passate nuovamente il dito sullo scanner.Caricamento in corso...",
    L"Errore del sensore per le impronte digitali.",
    L"",
};

constexpr MessageSet Russian = {
    L"Используйте Вашу учетную запись для входа вручную",
    L"Выполните сканирование отпечатка пальца",
    L"Неверный пароль",
    L"Please scan again",
    L"Загрузка",
    L"Ошибка сканера отпечатков пальцев.",
};

constexpr MessageSet French = {
    L"Veuillez entrer vos informations de compte manuellement pour vous connecter",
    L"Veuillez numériser une empreinte digitale",
    L"Mot de passe incorrect",
    L"Veuillez faire glisser de nouveau votre doigt sur le lecteur d'empreintes digitales.",
    L"Chargement…",
    L"Échec d'exécution du lecteur d'empreintes digitales.",
};

constexpr MessageSet Arabic = {
    L"فضلًا أدخل معلومات حسابك يدويًا لتسجيل الدخول.",
    L"فضلًا امسح أحد الأصابع.",
    L"Wrong password",
    L"فضلًا اضغط بإصبعك فوق الماسح الضوئي مرة أخرى.",
    L"جاري التحميل...",
    L"فشل مستشعر البصمات.",
};

constexpr MessageSet Japanese = {
    L"ログインするには、アカウント情報を手動で入力してください",
    L"指紋をスキャンしてください",
    L"不正なパスワード",
    L"スキャナー上で指紋を再度ゆっくりなぞります。",
    L"ロード中",
    L"指紋センサーが使用できません",
};

constexpr MessageSet Portuguese = {
    L"Introduza manualmente as informações da sua conta para iniciar sessão",
    L"Efectue a leitura de um dedo",
    L"Palavra-passe errada",
    L"digitalize novamente",
    L"A carregar…",
    L"O leitor de impressões digitais falhou.",
};

constexpr MessageSet German = {
    L"Bitte geben Sie Ihre Kontendaten zur Anmeldung manuell ein",
    L"Bitte scannen Sie einen Finger",
    L"Falsches Kennwort",
    L"Bitte wischen Sie noch einmal mit dem Finger über den Scanner.",
    L"Laden...",
    L"Fingerabdrucksensor fehlgeschlagen.",
};

// clang-format on

struct LanguageRow {
    LCID lcid;
    const MessageSet* messages; // null: the current texts stay
};

// What is not listed here gets English.
// clang-format off
constexpr LanguageRow Languages[] = {
    {0x0804, &ChineseSimplified},
    {0x0404, &ChineseTraditional},
    {0x0C04, &ChineseTraditional},
    {0x1004, &ChineseTraditional},
    {0x0412, &Korean},
    {0x040A, &Spanish},
    {0x080A, &Spanish},
    {0x0C0A, &Spanish},
    {0x100A, &Spanish},
    {0x140A, &Spanish},
    {0x180A, &Spanish},
    {0x1C0A, &Spanish},
    {0x200A, &Spanish},
    {0x240A, &Spanish},
    {0x280A, &Spanish},
    {0x2C0A, &Spanish},
    {0x300A, &Spanish},
    {0x340A, &Spanish},
    {0x380A, &Spanish},
    {0x3C0A, &Spanish},
    {0x400A, &Spanish},
    {0x440A, &Spanish},
    {0x480A, &Spanish},
    {0x4C0A, &Spanish},
    {0x500A, &Spanish},
    {0x540A, &Spanish},
    {0xE40A, &Spanish},
    {0x0410, &Italian},
    {0x0810, &Italian},
    {0x0419, &Russian},
    {0x0819, &Russian},
    {0x040C, &French},
    {0x080C, &French},
    {0x0C0C, &French},
    {0x100C, &French},
    {0x140C, &French},
    {0x180C, &French},
    {0x1C0C, &French},
    {0x200C, &French},
    {0x240C, &French},
    {0x280C, &French},
    {0x2C0C, &French},
    {0x300C, &French},
    {0x340C, &French},
    {0x380C, &French},
    {0x3C0C, &French},
    {0xE40C, &French},
    {0x0401, &Arabic},
    {0x0801, &Arabic},
    {0x0C01, &Arabic},
    {0x1001, &Arabic},
    {0x1401, &Arabic},
    {0x1801, &Arabic},
    {0x1C01, &Arabic},
    {0x2001, &Arabic},
    {0x2401, &Arabic},
    {0x2801, &Arabic},
    {0x2C01, &Arabic},
    {0x3001, &Arabic},
    {0x3401, &Arabic},
    {0x3801, &Arabic},
    {0x3C01, &Arabic},
    {0x4001, &Arabic},
    {0x0411, &Japanese},
    {0x0416, &Portuguese},
    {0x0816, &Portuguese},
    {0x0407, &German},
    {0x0807, &German},
    {0x0C07, &German},
    {0x1007, &German},
    {0x1407, &German},
    {0x0413, nullptr},
    {0x0813, nullptr},
};
// clang-format on

} // namespace

MessageSet g_Messages = English;

void SelectMessages(LCID lcid)
{
    for (const LanguageRow& row : Languages) {
        if (row.lcid == lcid) {
            if (row.messages != nullptr)
                g_Messages = *row.messages;
            return;
        }
    }
    g_Messages = English;
}
