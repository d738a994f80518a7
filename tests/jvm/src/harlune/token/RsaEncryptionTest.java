package harlune.token;

import static harlune.support.Ck.*;
import static harlune.support.Refusal.assertRefused;
import static harlune.support.Refusal.assertText;
import static harlune.token.Bytes.around;
import static harlune.token.Bytes.blank;
import static harlune.token.Bytes.bytes;
import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;

import java.security.GeneralSecurityException;
import java.security.spec.MGF1ParameterSpec;

import javax.crypto.Cipher;
import javax.crypto.spec.OAEPParameterSpec;
import javax.crypto.spec.PSource;

import org.junit.jupiter.api.BeforeAll;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;

import velnor.Mechanism;
import velnor.params.OAEPParams;

/** RSA encryption between a token and the JDK, both holding the same key pair. */
class RsaEncryptionTest extends KeyedSession {
    private static final byte[] DATA = bytes(60);
    private static final Mechanism OAEP = new Mechanism(CKM_RSA_PKCS_OAEP,
            new OAEPParams(CKM_SHA_1, CKG_MGF1_SHA1, CKZ_DATA_SPECIFIED, null));
    private static final OAEPParameterSpec JDK_OAEP = new OAEPParameterSpec("SHA-1", "MGF1", MGF1ParameterSpec.SHA1,
            PSource.PSpecified.DEFAULT);
    private static RsaKeys keys;

    private long publicKey;
    private long privateKey;

    @BeforeAll
    static void makeKeys() throws GeneralSecurityException {
        keys = new RsaKeys();
    }

    @BeforeEach
    void createKeys() {
        publicKey = keys.createPublicKey(session);
        privateKey = keys.createPrivateKey(session);
    }

    @Test
    void theJdkDecryptsWhatTheTokenEncrypted() throws GeneralSecurityException {
        byte[] encrypted = session.J_Encrypt(h, true, OAEP, publicKey, around(3, DATA, 1), 3, DATA.length);
        Cipher cipher = Cipher.getInstance("RSA/ECB/OAEPPadding");
        cipher.init(Cipher.DECRYPT_MODE, keys.privateKey, JDK_OAEP);
        assertArrayEquals(DATA, cipher.doFinal(encrypted));
    }

    @Test
    void theTokenDecryptsWhatTheJdkEncrypted() throws GeneralSecurityException {
        Cipher cipher = Cipher.getInstance("RSA/ECB/OAEPPadding");
        cipher.init(Cipher.ENCRYPT_MODE, keys.publicKey, JDK_OAEP);
        byte[] encrypted = cipher.doFinal(DATA);
        assertArrayEquals(DATA, session.J_Decrypt(h, true, OAEP, privateKey, encrypted, 0, encrypted.length));
    }

    @Test
    void theCallersArrayTakesTheCiphertext() {
        byte[] output = blank(2 + 256 + 2);
        assertEquals(256, session.J_Encrypt(h, true, OAEP, publicKey, DATA, 0, DATA.length, null, 0));
        assertEquals(256, session.J_Encrypt(h, false, null, 0, DATA, 0, DATA.length, output, 2));
        assertArrayEquals(DATA, session.J_Decrypt(h, true, OAEP, privateKey, output, 2, 256));
    }

    @Test
    void pkcs1PaddingWorksInBothDirections() throws GeneralSecurityException {
        Mechanism mechanism = new Mechanism(CKM_RSA_PKCS);
        Cipher cipher = Cipher.getInstance("RSA/ECB/PKCS1Padding");
        cipher.init(Cipher.ENCRYPT_MODE, keys.publicKey);
        byte[] encrypted = cipher.doFinal(DATA);
        assertArrayEquals(DATA, session.J_Decrypt(h, true, mechanism, privateKey, encrypted, 0, encrypted.length));
        cipher.init(Cipher.DECRYPT_MODE, keys.privateKey);
        assertArrayEquals(DATA,
                cipher.doFinal(session.J_Encrypt(h, true, mechanism, publicKey, DATA, 0, DATA.length)));
    }

    @Test
    void theTokensLimitsArriveInTheParameter() {
        // SoftHSM knows OAEP with SHA-1, its mask and no encoding parameter alone, and says so about each field.
        for (OAEPParams refused : new OAEPParams[] {
            new OAEPParams(CKM_MD5, CKG_MGF1_SHA1, CKZ_DATA_SPECIFIED, null),
            new OAEPParams(CKM_SHA_1, 2, CKZ_DATA_SPECIFIED, null),
            new OAEPParams(CKM_SHA_1, CKG_MGF1_SHA1, 2, null),
            new OAEPParams(CKM_SHA_1, CKG_MGF1_SHA1, CKZ_DATA_SPECIFIED, new byte[1]),
        }) {
            assertRefused("J_EncryptInit", CKR_ARGUMENTS_BAD, "ARGUMENTS BAD", () -> session.J_Encrypt(
                    h, true, new Mechanism(CKM_RSA_PKCS_OAEP, refused), publicKey, DATA, 0, DATA.length));
        }
    }

    @Test
    void aParameterOfAnotherClassIsRefused() {
        assertText("J_DecryptInit",
                "Mechanism2CKMechanism - parameter must be instance of 'velnor/params/OAEPParams'",
                () -> session.J_DecryptInit(h, new Mechanism(CKM_RSA_PKCS_OAEP, new byte[40]), privateKey));
    }

    @Test
    void dataThatIsTooLongIsRefused() {
        assertRefused("J_Encrypt", CKR_GENERAL_ERROR, "GENERAL ERROR",
                () -> session.J_Encrypt(h, true, OAEP, publicKey, bytes(256 - 41), 0, 256 - 41));
    }
}
