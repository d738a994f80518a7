package velnor.cli;

import java.util.ArrayList;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;

import velnor.CKF;

/** The names of flags, which mean different things in different structures. */
final class Flags {
    static final Flags OF_SLOT = new Flags()
            .add(CKF.TOKEN_PRESENT, "tokenPresent")
            .add(CKF.REMOVABLE_DEVICE, "removableDevice")
            .add(CKF.HW_SLOT, "hardware");

    static final Flags OF_TOKEN = new Flags()
            .add(CKF.TOKEN_INITIALIZED, "initialized")
            .add(CKF.LOGIN_REQUIRED, "loginRequired")
            .add(CKF.USER_PIN_INITIALIZED, "userPinInitialized")
            .add(CKF.USER_PIN_COUNT_LOW, "userPinCountLow")
            .add(CKF.USER_PIN_FINAL_TRY, "userPinFinalTry")
            .add(CKF.USER_PIN_LOCKED, "userPinLocked")
            .add(CKF.USER_PIN_TO_BE_CHANGED, "userPinToBeChanged")
            .add(CKF.SO_PIN_COUNT_LOW, "soPinCountLow")
            .add(CKF.SO_PIN_FINAL_TRY, "soPinFinalTry")
            .add(CKF.SO_PIN_LOCKED, "soPinLocked")
            .add(CKF.SO_PIN_TO_BE_CHANGED, "soPinToBeChanged")
            .add(CKF.PROTECTED_AUTHENTICATION_PATH, "protectedAuthenticationPath")
            .add(CKF.WRITE_PROTECTED, "writeProtected")
            .add(CKF.RNG, "random")
            .add(CKF.DUAL_CRYPTO_OPERATIONS, "dualOperations");

    static final Flags OF_MECHANISM = new Flags()
            .add(CKF.HW, "hardware")
            .add(CKF.ENCRYPT, "encrypt")
            .add(CKF.DECRYPT, "decrypt")
            .add(CKF.DIGEST, "digest")
            .add(CKF.SIGN, "sign")
            .add(CKF.SIGN_RECOVER, "signRecover")
            .add(CKF.VERIFY, "verify")
            .add(CKF.VERIFY_RECOVER, "verifyRecover")
            .add(CKF.GENERATE, "generate")
            .add(CKF.GENERATE_KEY_PAIR, "generateKeyPair")
            .add(CKF.WRAP, "wrap")
            .add(CKF.UNWRAP, "unwrap")
            .add(CKF.DERIVE, "derive");

    private final Map<Integer, String> names = new LinkedHashMap<>();

    private Flags() {
    }

    private Flags add(int flag, String name) {
        names.put(flag, name);
        return this;
    }

    List<String> names(int flags) {
        List<String> set = new ArrayList<>();
        names.forEach((flag, name) -> {
            if ((flags & flag) != 0) {
                set.add(name);
            }
        });
        return set;
    }
}
