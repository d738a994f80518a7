package harlune.surface;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertThrows;

import harlune.support.Tokens;

import java.security.MessageDigest;
import java.security.NoSuchAlgorithmException;
import java.util.Arrays;

import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;

import velnor.Attribute;
import velnor.CKA;
import velnor.CKK;
import velnor.CKM;
import velnor.CKO;
import velnor.CKR;
import velnor.Cryptoki;
import velnor.CryptokiException;
import velnor.Digester;
import velnor.Mechanism;
import velnor.Session;
import velnor.TokenObject;
import velnor.params.EXTRACTParams;
import velnor.params.KEYDERIVATIONSTRINGDATA;

/** What NSS shows of the surface beyond other tokens: keys are derived, and operations saved. */
class NssTest {
    private static final byte[] BASE = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15};

    private Cryptoki cryptoki;
    private Session session;
    private TokenObject base;

    @BeforeEach
    void open() {
        cryptoki = Surface.token();
        session = cryptoki.tokenByLabel(Tokens.LABEL).openSession();
        session.login(Tokens.PIN);
        base = session.createObject(key(new Attribute(CKA.VALUE, BASE), new Attribute(CKA.DERIVE, true)));
    }

    @AfterEach
    void close() {
        cryptoki.close();
    }

    private static Attribute[] key(Attribute... more) {
        Attribute[] common = {new Attribute(CKA.CLASS, CKO.SECRET_KEY), new Attribute(CKA.TOKEN, false),
            new Attribute(CKA.KEY_TYPE, CKK.GENERIC_SECRET), new Attribute(CKA.SENSITIVE, false),
            new Attribute(CKA.EXTRACTABLE, true)};
        Attribute[] all = Arrays.copyOf(common, common.length + more.length);
        System.arraycopy(more, 0, all, common.length, more.length);
        return all;
    }

    private static byte[] valueOf(TokenObject key) {
        return key.attribute(CKA.VALUE).bytesValue();
    }

    @Test
    void derivedKeysAreDelivered() {
        TokenObject joined = session.deriveKey(new Mechanism(CKM.CONCATENATE_BASE_AND_DATA,
                new KEYDERIVATIONSTRINGDATA(new byte[] {77, 78})), base, key());
        TokenObject cut = session.deriveKey(new Mechanism(CKM.EXTRACT_KEY_FROM_KEY, new EXTRACTParams(8)), base,
                key(new Attribute(CKA.VALUE_LEN, 4)));
        byte[] expected = Arrays.copyOf(BASE, 18);
        expected[16] = 77;
        expected[17] = 78;
        assertArrayEquals(expected, valueOf(joined));
        assertArrayEquals(new byte[] {1, 2, 3, 4}, valueOf(cut));
    }

    @Test
    void aRefusedDerivationIsTold() {
        CryptokiException e = assertThrows(CryptokiException.class, () -> session.deriveKey(
                new Mechanism(CKM.CONCATENATE_BASE_AND_DATA, new KEYDERIVATIONSTRINGDATA(new byte[1])),
                session.object(0x7FFF), key()));
        assertEquals("J_DeriveKey", e.functionName());
        assertEquals(CKR.KEY_HANDLE_INVALID, e.code());
    }

    @Test
    void aDigestGoesOnFromItsSavedState() throws NoSuchAlgorithmException {
        Session generic = cryptoki.tokenByLabel(Tokens.OTHER_LABEL).openSession();
        byte[] state;
        try (Digester digester = generic.digester(new Mechanism(CKM.SHA256))) {
            digester.update(new byte[] {1, 2, 3});
            state = generic.operationState();
            digester.update(new byte[] {99});
            generic.setOperationState(state);
            digester.update(new byte[] {4});
            assertArrayEquals(MessageDigest.getInstance("SHA-256").digest(new byte[] {1, 2, 3, 4}), digester.digest());
        }
        CryptokiException e = assertThrows(CryptokiException.class, () -> generic.setOperationState(new byte[1]));
        assertEquals("J_SetOperationState", e.functionName());
    }
}
