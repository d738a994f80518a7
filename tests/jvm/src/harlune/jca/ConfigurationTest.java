package harlune.jca;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertNotNull;
import static org.junit.jupiter.api.Assertions.assertNotSame;
import static org.junit.jupiter.api.Assertions.assertNull;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import harlune.support.Tokens;

import java.io.ByteArrayOutputStream;
import java.io.NotSerializableException;
import java.io.ObjectOutputStream;
import java.nio.file.Files;
import java.nio.file.Path;
import java.security.InvalidParameterException;
import java.security.KeyPairGenerator;
import java.security.MessageDigest;
import java.security.Provider;
import java.security.ProviderException;
import java.security.Security;
import java.util.List;
import java.util.ServiceLoader;

import javax.security.auth.callback.CallbackHandler;
import javax.security.auth.callback.PasswordCallback;
import javax.security.auth.login.FailedLoginException;
import javax.security.auth.login.LoginException;

import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;

import velnor.CKM;
import velnor.jca.HarluneProvider;

/** How a provider is made: of a configuration in a file, in a text and in a URI; and how it logs in. */
class ConfigurationTest extends JcaToken {
    private static Provider configured(String text) {
        return new HarluneProvider().configure("--" + text);
    }

    private static String library() {
        return "library = " + Tokens.MODULE + "\n";
    }

    private String token() {
        return "token = \"" + Tokens.LABEL + "\"\n";
    }

    private static String refusal(String text) {
        return assertThrows(InvalidParameterException.class, () -> configured(text), text).getMessage();
    }

    @Test
    void theServiceLoaderFindsOneThatIsToBeConfigured() {
        Provider found = ServiceLoader.load(Provider.class).stream()
                .filter(provider -> provider.type() == HarluneProvider.class).findFirst().orElseThrow().get();
        assertEquals("Harlune", found.getName());
        assertFalse(found.isConfigured());
        assertEquals(0, found.getServices().size());
        assertThrows(IllegalStateException.class, () -> ((HarluneProvider) found).slot());
    }

    @Test
    void aFileNamesTheToken(@TempDir Path directory) throws Exception {
        Path file = directory.resolve("token.cfg");
        Files.writeString(file, "# mine\nname = Signing\n" + library() + token() + "threading = automatic\n\n");
        Provider made = new HarluneProvider().configure(file.toString());
        assertTrue(made.isConfigured());
        assertEquals("Harlune-Signing", made.getName());
        assertNotNull(made.getService("Signature", "SHA256withRSA"));
        assertNotNull(made.getService("KeyStore", "PKCS11"));
        assertEquals(slot, ((HarluneProvider) made).slot());
        InvalidParameterException missing = assertThrows(InvalidParameterException.class,
                () -> new HarluneProvider().configure(directory.resolve("none").toString()));
        assertTrue(missing.getMessage().contains("none"), missing::getMessage);
    }

    @Test
    void everyWayToNameTheToken() {
        HarluneProvider bySlot = (HarluneProvider) configured(library() + "slot = " + slot.id());
        assertEquals(slot, bySlot.slot());
        assertEquals("Harlune-" + Tokens.LABEL, bySlot.getName());
        assertEquals(slot, ((HarluneProvider) configured(library() + "slotListIndex = "
                + cryptoki.slots().indexOf(slot))).slot());
        assertEquals(slot, ((HarluneProvider) configured(library() + "slot = 0x"
                + Long.toHexString(slot.id()))).slot());
        String uri = "pkcs11:token=" + Tokens.LABEL.replace(" ", "%20") + ";manufacturer="
                + slot.tokenInfo().manufacturerID().replace(" ", "%20") + "?module-path=" + Tokens.MODULE;
        assertEquals(slot, ((HarluneProvider) new HarluneProvider().configure(uri)).slot());
        assertEquals(slot, ((HarluneProvider) configured("uri = \"" + uri + '"')).slot());
        assertEquals(slot, ((HarluneProvider) configured("module=\"" + Tokens.MODULE
                + "\"\nlabel=" + Tokens.LABEL)).slot());
    }

    @Test
    void mistakesAreTold() {
        assertTrue(refusal("token = x").contains("library"));
        assertTrue(refusal(library() + "token = nobody's").contains("No token"));
        assertTrue(refusal(library() + "slotListIndex = 999").contains("999"));
        assertTrue(refusal(library() + "slot = one").contains("one"));
        assertTrue(refusal(library() + "colour = red").contains("colour"));
        assertTrue(refusal(library() + library()).contains("twice"));
        assertTrue(refusal(library() + "what is this").contains("what is this"));
        assertTrue(refusal("what is this\n" + library()).contains("what is this"));
        assertTrue(refusal(library() + token() + "threading = maybe").contains("maybe"));
        assertTrue(refusal(library() + token() + "disabledMechanisms = { CKM_NOT_THERE }").contains("CKM_NOT_THERE"));
        assertTrue(refusal(library() + "uri = \"pkcs11:token=%zz\"").contains("hexadecimal"));
        assertTrue(refusal(library() + "uri = \"pkcs11:colour=red\"").contains("colour"));
        assertTrue(refusal(library() + "uri = \"pkcs11:token=x?pin-value=1234\"").contains("PIN"));
        assertTrue(refusal(library() + "token = x\nuri = \"pkcs11:token=x\"").contains("both"));
        assertThrows(ProviderException.class, () -> configured("library = /no/such/module.so"));
        assertThrows(NullPointerException.class, () -> new HarluneProvider().configure(null));
    }

    @Test
    void whatIsNotWantedIsLeftOut() {
        Provider made = configured(library() + token() + "disabledAlgorithms = { Signature.SHA1withRSA }\n"
                + "disabledMechanisms = {\n  CKM_ECDSA_SHA1\n  CKM_ECDSA\n}");
        assertNotNull(provider.getService("Signature", "SHA1withRSA"));
        assertNull(made.getService("Signature", "SHA1withRSA"));
        assertNotNull(made.getService("Signature", "SHA256withRSA"));
        assertNotNull(provider.getService("Signature", "NONEwithECDSA"));
        assertNull(made.getService("Signature", "NONEwithECDSA"));
        Provider only = configured(library() + token() + "enabledMechanisms = { CKM_SHA256_RSA_PKCS, 0x0 }");
        assertNotNull(only.getService("Signature", "SHA256withRSA"));
        assertNull(only.getService("Signature", "SHA384withRSA"));
    }

    @Test
    void digestsAreTheTokensOnlyWhereThatIsWanted() throws Exception {
        assertNull(provider.getService("MessageDigest", "SHA-256"));
        assertNull(configured(library() + token()).getService("MessageDigest", "SHA-256"));
        Provider made = configured(library() + token() + "digests = true");
        for (String name : List.of("SHA-1", "SHA-256", "SHA-512")) {
            boolean has = slot.supports(name.equals("SHA-1") ? CKM.SHA_1
                    : name.equals("SHA-256") ? CKM.SHA256 : CKM.SHA512);
            assertEquals(has, made.getService("MessageDigest", name) != null, name);
            if (!has) {
                continue;
            }
            MessageDigest mine = MessageDigest.getInstance(name, made);
            MessageDigest expected = MessageDigest.getInstance(name, jdk("SUN"));
            assertEquals(expected.getDigestLength(), mine.getDigestLength());
            for (int length : new int[] {0, 1, 70_000}) {
                assertArrayEquals(expected.digest(bytes(length)), mine.digest(bytes(length)), name);
            }
            mine.update(bytes(10));
            mine.reset();
            mine.update((byte) 0);
            assertArrayEquals(expected.digest(bytes(1)), mine.digest(), name);
        }
    }

    /** A handler that knows the PIN, or what is taken for it. */
    private static CallbackHandler knows(String pin) {
        return callbacks -> ((PasswordCallback) callbacks[0]).setPassword(pin == null ? null : pin.toCharArray());
    }

    @Test
    void theHandlerIsAskedForThePinWhenItIsNeeded() throws Exception {
        HarluneProvider made = (HarluneProvider) configured(library() + token());
        assertNotSame(provider, made);
        provider.logout();
        KeyPairGenerator generator = KeyPairGenerator.getInstance("EC", made);
        ProviderException nobody = assertThrows(ProviderException.class, generator::generateKeyPair);
        assertTrue(nobody.getMessage().contains("setCallbackHandler"), nobody::getMessage);
        assertThrows(LoginException.class, () -> made.login(null, null));
        made.setCallbackHandler(knows("not it"));
        assertThrows(FailedLoginException.class, () -> made.login(null, null));
        assertThrows(FailedLoginException.class, () -> made.login(null, knows(null)));
        made.setCallbackHandler(knows(Tokens.PIN));
        assertNotNull(generator.generateKeyPair());
        made.login(null, knows("not looked at"));
        made.logout();
        made.logout();
        Security.setProperty("auth.login.defaultCallbackHandler", "no.such.Handler");
        try {
            made.setCallbackHandler(null);
            assertThrows(LoginException.class, () -> made.login(null, null));
        } finally {
            Security.setProperty("auth.login.defaultCallbackHandler", "");
        }
    }

    @Test
    void neitherProviderNorKeyIsSerialized() throws Exception {
        try (ObjectOutputStream out = new ObjectOutputStream(new ByteArrayOutputStream())) {
            assertThrows(NotSerializableException.class, () -> out.writeObject(
                    KeyPairGenerator.getInstance("EC", provider).generateKeyPair().getPrivate()));
        }
        try (ObjectOutputStream out = new ObjectOutputStream(new ByteArrayOutputStream())) {
            assertThrows(NotSerializableException.class, () -> out.writeObject(provider));
        }
    }
}
