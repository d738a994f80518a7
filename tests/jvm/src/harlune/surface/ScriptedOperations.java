package harlune.surface;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertThrows;

import harlune.support.ScriptedModule;

import java.nio.charset.StandardCharsets;
import java.util.List;

import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.function.Executable;

import velnor.CKM;
import velnor.Cryptoki;
import velnor.CryptokiException;
import velnor.Mechanism;
import velnor.Session;
import velnor.TokenObject;

/** For tests of operations on the scripted module, whose cryptography can be read. */
abstract class ScriptedOperations {
    static final Mechanism AES = new Mechanism(CKM.AES_ECB);
    static final Mechanism RSA = new Mechanism(CKM.RSA_PKCS);
    static final Mechanism SHA256 = new Mechanism(CKM.SHA256);

    Cryptoki cryptoki;
    Session session;
    TokenObject secret;
    TokenObject publicKey;
    TokenObject privateKey;

    @BeforeEach
    void open() {
        cryptoki = Surface.scripted();
        session = cryptoki.slotsWithToken().get(0).openSession();
        secret = Surface.key(session, 0xB01);
        publicKey = Surface.key(session, 0xB02);
        privateKey = Surface.key(session, 0xB03);
        ScriptedModule.clearJournal();
    }

    @AfterEach
    void close() {
        ScriptedModule.failCall(0, 0);
        assertEquals(List.of(), ScriptedModule.unused());
        cryptoki.close();
    }

    static byte[] bytes(String text) {
        return text.getBytes(StandardCharsets.UTF_8);
    }

    static String text(byte[] bytes) {
        return new String(bytes, StandardCharsets.UTF_8);
    }

    /** The functions that were called since the last time, and what they answered. */
    static List<String> calls() {
        List<String> calls = ScriptedModule.journal().stream()
                .map(line -> line.replaceAll("^(\\w+) .*-> (\\w+).*$", "$1 $2").replace(" CKR_OK", "")).toList();
        ScriptedModule.clearJournal();
        return calls;
    }

    static CryptokiException assertRefused(String function, int code, Executable call) {
        CryptokiException refusal = assertThrows(CryptokiException.class, call);
        assertEquals(function, refusal.functionName());
        assertEquals(code, refusal.code());
        return refusal;
    }
}
