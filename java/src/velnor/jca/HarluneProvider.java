package velnor.jca;

import java.io.IOException;
import java.io.NotSerializableException;
import java.io.ObjectOutputStream;
import java.security.AuthProvider;
import java.security.InvalidKeyException;
import java.security.InvalidParameterException;
import java.security.Key;
import java.security.Provider;
import java.security.ProviderException;
import java.security.Security;
import java.util.Arrays;
import java.util.Objects;
import java.util.function.Predicate;

import javax.security.auth.Subject;
import javax.security.auth.callback.Callback;
import javax.security.auth.callback.CallbackHandler;
import javax.security.auth.callback.PasswordCallback;
import javax.security.auth.callback.UnsupportedCallbackException;
import javax.security.auth.login.AccountLockedException;
import javax.security.auth.login.CredentialExpiredException;
import javax.security.auth.login.FailedLoginException;
import javax.security.auth.login.LoginException;

import velnor.CKR;
import velnor.CryptokiException;
import velnor.TokenObject;
import velnor.TokenSlot;

/**
 * A token in {@code java.security}: its keys sign, decrypt and open TLS connections in programs that know nothing of
 * PKCS#11.
 *
 * <pre>{@code
 * Provider provider = new HarluneProvider(cryptoki.tokenByLabel("mine"));
 * KeyStore keys = KeyStore.getInstance("PKCS11", provider);
 * keys.load(null, pin);
 * Security.addProvider(provider);
 * Signature signature = Signature.getInstance("SHA256withRSA");
 * signature.initSign((PrivateKey) keys.getKey("my key", null));
 * }</pre>
 *
 * <p>Without a program of one's own it is made of a configuration, by {@link #configure}, in {@code java.security} or
 * by {@code keytool -providerClass velnor.jca.HarluneProvider -providerArg}.
 *
 * <p>Services are offered as far as the token has the mechanisms. A provider may be used by any number of threads.
 */
public final class HarluneProvider extends AuthProvider {
    private static final long serialVersionUID = 1L;

    private static final String NAME = "Harlune";
    private static final String DEFAULT_HANDLER = "auth.login.defaultCallbackHandler";

    private final transient Token token;
    private transient volatile CallbackHandler handler;

    /** Makes a provider without a token, for {@link #configure}. It offers nothing. */
    public HarluneProvider() {
        super(NAME, version(), "Tokens of PKCS#11, to be configured");
        token = null;
    }

    /**
     * Makes the provider of a token, named {@code Harlune-} and the token's label.
     *
     * @param slot the slot that has the token; its module stays open as long as the provider is used
     * @throws CryptokiException when the token does not tell what it can do
     */
    public HarluneProvider(TokenSlot slot) {
        this(slot.tokenInfo().label(), slot);
    }

    /**
     * Makes the provider of a token.
     *
     * @param name what tells it from the providers of other tokens; {@code Harlune-} and this is its name
     * @param slot the slot that has the token; its module stays open as long as the provider is used
     * @throws CryptokiException when the token does not tell what it can do
     */
    public HarluneProvider(String name, TokenSlot slot) {
        this(name, slot, mechanism -> false, algorithm -> algorithm.type().equals(Algorithms.DIGEST));
    }

    private HarluneProvider(String name, TokenSlot slot, Predicate<Integer> withoutMechanisms,
            Predicate<Algorithm> withoutAlgorithms) {
        super(NAME + '-' + Objects.requireNonNull(name, "name"), version(),
                "The token \"" + slot.tokenInfo().label() + "\" in " + slot);
        token = new Token(slot, withoutMechanisms, new Token.Login() {
            @Override
            public void by(CallbackHandler given) throws LoginException {
                login(null, given);
            }

            @Override
            public boolean isPossible() throws LoginException {
                return token.hasPinPad() || handler(null) != null;
            }

            @Override
            public char[] pin() throws LoginException {
                return pinFrom(handler(null));
            }
        });
        for (Algorithm algorithm : Algorithms.ALL) {
            if (algorithm.isOfferedBy(token) && !withoutAlgorithms.test(algorithm)) {
                putService(new TokenService(this, algorithm, token));
            }
        }
    }

    private static String version() {
        String version = HarluneProvider.class.getPackage().getImplementationVersion();
        return version == null ? "0" : version;
    }

    /**
     * Makes a provider of a configuration; this one stays as it is.
     *
     * @param argument the name of a file with the configuration, or {@code --} and the configuration itself, or a
     *        {@code pkcs11:} URI that names module and token
     * @return the provider
     * @throws InvalidParameterException when the configuration is not understood, or there is no such token
     * @throws ProviderException when the module cannot be opened
     */
    @Override
    public Provider configure(String argument) {
        Objects.requireNonNull(argument, "argument");
        try {
            Configuration configuration = Configuration.read(argument);
            TokenSlot slot = configuration.token();
            String name = configuration.name() != null ? configuration.name() : slot.tokenInfo().label();
            return new HarluneProvider(name, slot, configuration.isDisabled(), configuration::leavesOut);
        } catch (IllegalArgumentException e) {
            throw (InvalidParameterException) new InvalidParameterException(e.getMessage()).initCause(e);
        } catch (CryptokiException | IllegalStateException e) {
            throw new ProviderException("The token cannot be reached: " + e.getMessage(), e);
        }
    }

    @Override
    public boolean isConfigured() {
        return token != null;
    }

    /**
     * Tells where the token is: for what {@code java.security} has no words for.
     *
     * @return the slot
     * @throws IllegalStateException when the provider is not configured
     */
    public TokenSlot slot() {
        return requireToken().slot();
    }

    /**
     * Gives the object that a key of this provider is. It works as long as the key is not collected.
     *
     * @param key the key
     * @return the object
     * @throws InvalidKeyException when the key belongs to another provider, or is gone
     */
    public TokenObject objectOf(Key key) throws InvalidKeyException {
        if (!(key instanceof TokenKey)) {
            throw new InvalidKeyException("Not a key that stays in its token");
        }
        return TokenKeys.usable(requireToken(), key).object();
    }

    private Token requireToken() {
        if (token == null) {
            throw new IllegalStateException("The provider has no token: configure() gives one that has");
        }
        return token;
    }

    // ---- login

    /**
     * Logs the user in unless that has happened.
     *
     * @param subject not used
     * @param given is asked for the PIN; null for the handler that was set here, or else the one that the security
     *        property {@code auth.login.defaultCallbackHandler} names. A reader with a PIN pad needs none
     * @throws LoginException when there is nobody to ask, or the token refuses
     */
    @Override
    public void login(Subject subject, CallbackHandler given) throws LoginException {
        Token to = requireToken();
        if (!to.lacksLogin()) {
            return;
        }
        char[] pin = pinFrom(handler(given));
        try {
            login(to, pin);
        } finally {
            wipe(pin);
        }
    }

    /**
     * Logs the user in unless that has happened.
     *
     * @param pin the PIN, which is left as it is; null for a reader with a PIN pad
     * @throws LoginException when the token refuses
     */
    public void login(char[] pin) throws LoginException {
        login(requireToken(), pin);
    }

    private static void login(Token token, char[] pin) throws LoginException {
        try {
            token.login(pin);
        } catch (CryptokiException | IllegalArgumentException e) {
            throw (LoginException) failure(e).initCause(e);
        }
    }

    private static LoginException failure(RuntimeException e) {
        String why = "The token refuses the login: " + e.getMessage();
        switch (e instanceof CryptokiException ? ((CryptokiException) e).code() : CKR.PIN_INVALID) {
            case CKR.PIN_INCORRECT:
            case CKR.PIN_INVALID:
            case CKR.PIN_LEN_RANGE:
                return new FailedLoginException(why);
            case CKR.PIN_LOCKED:
                return new AccountLockedException(why);
            case CKR.PIN_EXPIRED:
                return new CredentialExpiredException(why);
            default:
                return new LoginException(why);
        }
    }

    /**
     * Logs the user out. Keys that are not stored on the token end; stored ones work again after the next login.
     *
     * @throws LoginException when the token refuses
     */
    @Override
    public void logout() throws LoginException {
        try {
            requireToken().logout();
        } catch (CryptokiException e) {
            throw (LoginException) new LoginException("The token refuses the logout: " + e.getMessage()).initCause(e);
        }
    }

    @Override
    public void setCallbackHandler(CallbackHandler given) {
        handler = given;
    }

    private CallbackHandler handler(CallbackHandler given) throws LoginException {
        CallbackHandler set = given != null ? given : handler;
        String named = Security.getProperty(DEFAULT_HANDLER);
        if (set != null || named == null || named.isEmpty()) {
            return set;
        }
        try {
            return Class.forName(named, true, ClassLoader.getSystemClassLoader()).asSubclass(CallbackHandler.class)
                    .getDeclaredConstructor().newInstance();
        } catch (ReflectiveOperationException | ClassCastException e) {
            throw (LoginException) new LoginException("The callback handler " + named + " cannot be made").initCause(e);
        }
    }

    /** Asks for the PIN; null for a PIN pad. */
    private char[] pinFrom(CallbackHandler asked) throws LoginException {
        if (token.hasPinPad()) {
            return null;
        }
        if (asked == null) {
            throw new LoginException("nobody is there to ask for the PIN: login(char[]) and KeyStore.load take it, and"
                    + " setCallbackHandler names whom to ask");
        }
        PasswordCallback question = new PasswordCallback("PIN of the token " + token + ": ", false);
        try {
            asked.handle(new Callback[] {question});
            char[] pin = question.getPassword();
            if (pin == null) {
                throw new FailedLoginException("no PIN was given");
            }
            return pin;
        } catch (IOException | UnsupportedCallbackException e) {
            throw (LoginException) new LoginException("the PIN could not be asked for: " + e.getMessage()).initCause(e);
        } finally {
            question.clearPassword();
        }
    }

    private static void wipe(char[] pin) {
        if (pin != null) {
            Arrays.fill(pin, '\0');
        }
    }

    /**
     * Refuses to be serialized: the token stays where it is.
     *
     * @param out not used
     * @throws NotSerializableException always
     */
    private void writeObject(ObjectOutputStream out) throws NotSerializableException {
        throw new NotSerializableException("A provider that has a token");
    }
}
