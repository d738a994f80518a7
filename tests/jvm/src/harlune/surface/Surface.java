package harlune.surface;

import harlune.support.Bridge;
import harlune.support.ScriptedModule;
import harlune.support.Tokens;

import velnor.CKM;
import velnor.Cryptoki;
import velnor.Mechanism;
import velnor.Session;
import velnor.Threading;
import velnor.TokenObject;

/** Modules opened through the safe surface, with the native library under test. */
final class Surface {
    private Surface() {
    }

    static Cryptoki open(String module) {
        return open(module, Threading.SERIALIZED);
    }

    static Cryptoki open(String module, Threading threading) {
        Bridge.load();
        return Cryptoki.open(module, threading);
    }

    /** The scripted module as new, with nothing in its journal. */
    static Cryptoki scripted(Threading threading) {
        ScriptedModule.reset();
        Cryptoki cryptoki = open(ScriptedModule.PATH, threading);
        ScriptedModule.clearJournal();
        return cryptoki;
    }

    static Cryptoki scripted() {
        return scripted(Threading.SERIALIZED);
    }

    /** A key of the scripted token that does not tell its type and so suits every mechanism; it is not asked again. */
    static TokenObject key(Session session, long handle) {
        TokenObject key = session.object(handle);
        for (int asked = 0; asked < 2; asked++) { // for several attributes together, then for one
            ScriptedModule.answer("C_GetAttributeValue CKR_FUNCTION_NOT_SUPPORTED");
        }
        session.encryptor(new Mechanism(CKM.AES_ECB), key);
        return key;
    }

    /** The module of the token that the test was started beside. */
    static Cryptoki token() {
        return open(Tokens.MODULE);
    }
}
